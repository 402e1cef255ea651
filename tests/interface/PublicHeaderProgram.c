/* An application written in C against the installed header alone, linked to
   the shared object. It opens a service no configuration names and checks
   that every answer is a code. */
#include <NorvaSIU.h>
#include <stdio.h>

int main(void) {
    char service[] = "NO_SUCH_SERVICE";
    int idx = 5;
    unsigned char* nothing = NULL;
    unsigned char answer[4] = {1, 2, 3, 4};
    int result = SIU_Open(service, &idx);

    printf("SIU_Open: %d, idx %d\n", result, idx);
    if (result >= 0 || idx != -1) return 1;
    if (SIU_Close(service, &idx) != SIU_ERR_MGR_INVALID_INDEX) return 2;
    if (SIU_Reset(0) != SIU_ERR_MGR_INVALID_INDEX) return 3;
    if (SIU_SetIndicator(-1, 0, NORVA_SIU_INDICATOR_VALUE_ON) != SIU_ERR_MGR_INVALID_INDEX) return 4;
    if (SIU_ResetRemoto(10, 0, 0, answer) != SIU_ERR_MGR_INVALID_INDEX) return 5;
    if (answer[0] != 0 || answer[3] != 0) return 6;
    if (SIU_freeBuffer(NULL) != SIU_ERR_MGR_INVALID_POINTER) return 7;
    if (SIU_freeBuffer(&nothing) != SIU_ERR_MGR_INVALID_POINTER) return 8;
    return 0;
}
