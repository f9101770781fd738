// A host linked with Ostrel's import library: the loader resolves the four exports
// when it starts.

#include "HostSession.h"

int main() {
    return RunSession(Ostrel_Initialize, Ostrel_Uninitialize, Ostrel_CreateUtility,
                      Ostrel_FreeUtility);
}
