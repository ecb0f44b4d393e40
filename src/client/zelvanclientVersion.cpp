// The package version as the loaded library reports it.
#include "zelvanclient.h"

extern "C" const char* zelvanclient_version(void) { return ZELVANCLIENT_VERSION; }
