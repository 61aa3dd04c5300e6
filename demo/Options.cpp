#include "demo/Options.h"

#include "platform/linux/GPtr.h"

#include <glib.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace Demo {

namespace {

constexpr std::size_t longestCaptcha = 8;

/// The command line as GLib hands it over.
struct Parsed {
    char* certificate = nullptr;
    char* state = nullptr;
    char* captchaAnswer = nullptr;
    int port = 0;
    gboolean stay = FALSE;

    Parsed() = default;
    Parsed(const Parsed&) = delete;
    Parsed& operator=(const Parsed&) = delete;
    ~Parsed() {
        g_free(certificate);
        g_free(state);
        g_free(captchaAnswer);
    }
};

constexpr const char* summary =
    "The embedded service of brisko --demo: accounts, settings and a small task page, for this machine "
    "only.\n"
    "Prints one line of JSON, {\"origin\", \"certificate\"}, once it can be reached. It serves until its "
    "standard\n"
    "input, if that is a pipe, is closed at the other end, or until it is told to end (SIGTERM, SIGINT).";

void read(int argc, char** argv, Parsed& parsed) {
    const GOptionEntry entries[] = {
        {"certificate", 0, 0, G_OPTION_ARG_FILENAME, &parsed.certificate,
         "Write the certificate to trust for this service to FILE (PEM)", "FILE"},
        {"port", 0, 0, G_OPTION_ARG_INT, &parsed.port, "Listen on this port (default: the system picks one)",
         "N"},
        {"state", 0, 0, G_OPTION_ARG_FILENAME, &parsed.state,
         "Keep accounts, sessions and tasks in FILE (default: in memory only)", "FILE"},
        {"stay", 0, 0, G_OPTION_ARG_NONE, &parsed.stay, "Go on when standard input ends", nullptr},
        {"captcha-answer", 0, 0, G_OPTION_ARG_STRING, &parsed.captchaAnswer,
         "Show TEXT in every verification picture (for demonstrations and tests)", "TEXT"},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    const std::unique_ptr<GOptionContext, decltype(&g_option_context_free)> context(
        g_option_context_new(nullptr), g_option_context_free);
    g_option_context_set_summary(context.get(), summary);
    g_option_context_add_main_entries(context.get(), entries, nullptr);
    GError* error = nullptr;
    if (!g_option_context_parse(context.get(), &argc, &argv, &error))
        throw Options::Error(GErrorPtr(error)->message);
    if (argc > 1)
        throw Options::Error(std::string("Unexpected argument ") + argv[1]);
}

bool isCaptcha(const std::string& text) {
    return !text.empty() && text.size() <= longestCaptcha &&
           std::ranges::all_of(text, [](char c) { return g_ascii_isalnum(c); });
}

} // namespace

Options Options::parse(int argc, char** argv) {
    Parsed parsed;
    read(argc, argv, parsed);
    if (!parsed.certificate || !*parsed.certificate)
        throw Error("--certificate FILE is required");
    if (parsed.port < 0 || parsed.port > std::numeric_limits<std::uint16_t>::max())
        throw Error("--port takes a number from 0 to 65535");
    if (parsed.captchaAnswer && !isCaptcha(parsed.captchaAnswer))
        throw Error("--captcha-answer takes 1 to 8 letters and digits");
    Options options;
    options.certificate = g_path_is_absolute(parsed.certificate)
                              ? parsed.certificate
                              : GText(g_canonicalize_filename(parsed.certificate, nullptr)).get();
    options.port = static_cast<std::uint16_t>(parsed.port);
    options.stay = parsed.stay;
    if (parsed.state)
        options.service.stateFile = parsed.state;
    if (parsed.captchaAnswer)
        options.service.captchaAnswer = parsed.captchaAnswer;
    return options;
}

} // namespace Demo
