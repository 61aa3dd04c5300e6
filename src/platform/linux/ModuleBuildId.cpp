#include "platform/linux/BuildId.h"

// Compiled into every module, which says by it which build it comes from.
extern "C" [[gnu::visibility("default")]] const char* briskoBuildId() {
    return BuildId::own.data();
}
