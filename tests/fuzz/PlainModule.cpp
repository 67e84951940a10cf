// Stands for an algorithm module that leaves texts as they are: none has to be loaded for each answer.
#include <cstring>

extern "C" char* __wrap__ZN10CZsmHelper6DeCodeEPKc(void* /*helper*/, const char* body) {
    return strcpy(new char[strlen(body) + 1], body);
}
