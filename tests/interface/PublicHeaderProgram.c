/* An application written in C against the installed header alone, linked to
   the shared object. It opens a service no configuration names and checks
   that every answer is a code. */
#include <NorvaSIU.h>
#include <stdio.h>

int main(void) {
    char service[] = "NO_SUCH_SERVICE";
    int idx = 5;
    unsigned char* nothing = NULL;
    int result = SIU_Open(service, &idx);

    printf("SIU_Open: %d, idx %d\n", result, idx);
    if (result >= 0 || idx != -1) return 1;
    if (SIU_Close(service, &idx) != SIU_ERR_MGR_INVALID_INDEX) return 2;
    if (SIU_freeBuffer(&nothing) != SIU_ERR_MGR_INVALID_POINTER) return 3;
    return 0;
}
