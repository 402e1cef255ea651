#pragma once
// Result codes of every layer (listed in ResultCodes.def). A code travels up
// the object chain unchanged.

#ifdef __cplusplus
extern "C" {
#endif

typedef enum API_ERROR {
#define SIU_RESULT(name, value) name = value,
#include "manager/ResultCodes.def"
} API_ERROR;

/* Text naming a result code: the code's own name, "NULL" for a value that is
   not a code. The text is static; never free it. Thread-safe. */
const char* getGlobalStrErrors(int iErrorCod);

/* Packs a dotted version ("1.0.3.2") into one byte per field, first field in
   the most significant byte. Looks at no more than str_size bytes of str. */
unsigned long convertStringVersionToLongInt(char* str, int str_size);

#ifdef __cplusplus
}
#endif
