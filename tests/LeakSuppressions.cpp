// Part of the programs that draw text, in builds with LeakSanitizer only. What libraries keep for the whole
// run where the sanitizer cannot see the pointer to it is no leak of ours.

#include <sanitizer/lsan_interface.h>

#include <cstddef>

// The names are the sanitizer's. NOLINTBEGIN(bugprone-reserved-identifier)

/// A few hundred bytes of fontconfig's and of the software renderer's.
/// https://github.com/google/sanitizers/wiki/AddressSanitizerLeakSanitizer#suppressions
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:swrast_dri\n";
}

/// GLib's first table of quarks: it makes that before all else, and leaves it behind once there are 2048 of
/// them, as the toolkit's file dialog needs.
extern "C" void __sanitizer_malloc_hook(const volatile void* memory, std::size_t size) {
    static bool isKnown = false;
    if (!isKnown && size == 2048 * sizeof(char*)) {
        isKnown = true;
        __lsan_ignore_object(const_cast<const void*>(memory));
    }
}

// NOLINTEND(bugprone-reserved-identifier)
