/* An application written in C against the installed header alone, linked to
   the shared object. It opens a service no configuration names and checks
   that every answer, to bad indices and missing arguments too, is a code. */
#include <NorvaSIU.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    char service[] = "NO_SUCH_SERVICE";
    int idx = 5;
    unsigned char* nothing = NULL;
    unsigned char data[4] = {1, 2, 3, 4};
    int result = SIU_Open(service, &idx);

    printf("SIU_Open: %d, idx %d\n", result, idx);
    if (result >= 0 || idx != -1) return 1;
    if (SIU_Close(service, &idx) != SIU_ERR_MGR_INVALID_INDEX) return 2;
    if (SIU_freeBuffer(&nothing) != SIU_ERR_MGR_INVALID_POINTER) return 3;
    if (SIU_freeBuffer(NULL) != SIU_ERR_MGR_INVALID_POINTER) return 4;
    idx = 3;
    if (SIU_Open(NULL, &idx) != SIU_ERR_CMD_INVALID_PARAMETER || idx != -1) return 5;
    if (SIU_Open(service, NULL) != SIU_ERR_CMD_INVALID_PARAMETER) return 6;
    if (SIU_Close(NULL, &idx) != SIU_ERR_CMD_INVALID_PARAMETER) return 7;
    if (SIU_Close(service, NULL) != SIU_ERR_CMD_INVALID_PARAMETER) return 8;
    /* No device wrote the answer: the caller gets zeros. */
    if (SIU_ResetRemoto(9, 0, 0, data) != SIU_ERR_MGR_INVALID_INDEX || memcmp(data, "\0\0\0\0", 4))
        return 9;
    if (SIU_GetSensorStatus(10, NULL, NULL, NULL, NULL, NULL, NULL, NULL) !=
        SIU_ERR_MGR_INVALID_INDEX)
        return 10;
    return 0;
}
