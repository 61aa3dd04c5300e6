// Part of the programs that draw text, in builds with LeakSanitizer only: fontconfig keeps a few hundred
// bytes for the whole run where the sanitizer cannot see the pointer to them, and so does the software
// renderer. https://github.com/google/sanitizers/wiki/AddressSanitizerLeakSanitizer#suppressions

// The name is the sanitizer's. NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:swrast_dri\n";
}
