/* An application built against the installed tree alone: it opens a service
   and prints the state of the first door, as a number, so that the caller
   can compare it with what the simulator was told. Compiled as C (found
   through pkg-config) and as C++ (found through find_package). */
#include <NorvaSensorBoard/NorvaSIU.h>
#include <stdio.h>

int main(int argc, char** argv) {
    unsigned int groups[7][NORVA_SIU_ARRAY_SIZE];
    int idx = -1;
    int result;

    if (argc != 2) {
        fprintf(stderr, "usage: consumer SERVICE\n");
        return 2;
    }
    result = SIU_Open(argv[1], &idx);
    if (result != SIU_SUCCESS) {
        fprintf(stderr, "SIU_Open: %d\n", result);
        return 1;
    }
    result = SIU_GetSensorStatus(idx, groups[0], groups[1], groups[2], groups[3], groups[4],
                                 groups[5], groups[6]);
    if (result == SIU_SUCCESS) printf("door 0: %u\n", groups[0][0]);
    else fprintf(stderr, "SIU_GetSensorStatus: %d\n", result);
    SIU_Close(argv[1], &idx);
    return result == SIU_SUCCESS ? 0 : 1;
}
