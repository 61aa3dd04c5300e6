#include "application/linux/Options.h"

#include "account/BriskoAPI.h"
#include "platform/Error.h"

#include <getopt.h>
#include <glib.h>

#include <system_error>

namespace {

enum Option { demo = 1, serviceOrigin, serviceCa, profile, tour, version, help };

const option table[] = {{"demo", no_argument, nullptr, demo},
                        {"service-origin", required_argument, nullptr, serviceOrigin},
                        {"service-ca", required_argument, nullptr, serviceCa},
                        {"profile", required_argument, nullptr, profile},
                        {"tour", required_argument, nullptr, tour},
                        {"version", no_argument, nullptr, version},
                        {"help", no_argument, nullptr, help},
                        {nullptr, 0, nullptr, 0}};

std::filesystem::path absolutePath(const std::string& text) {
    std::error_code failure;
    auto path = std::filesystem::absolute(text, failure);
    if (failure || text.empty())
        throw Error("Not a path: '" + text + "'.");
    return path.lexically_normal();
}

Url parseServiceOrigin(const std::string& text) {
    const auto origin = BriskoAPI::parseOrigin(text);
    if (!origin)
        throw Error("Not a service origin: '" + text +
                    "'. It is an https URL without a path, such as https://brisko.example.");
    return *origin;
}

void apply(Options& options, int choice, const std::string& value) {
    switch (choice) {
    case demo:
        options.demo = true;
        break;
    case serviceOrigin:
        options.serviceOrigin = parseServiceOrigin(value);
        break;
    case serviceCa:
        options.serviceCa = absolutePath(value);
        break;
    case profile:
        options.profile = absolutePath(value);
        break;
    case tour:
        options.tour = absolutePath(value);
        break;
    case version:
        options.action = Options::Action::showVersion;
        break;
    case help:
        options.action = Options::Action::showHelp;
        break;
    default:
        throw Error("Unknown or incomplete option. 'brisko --help' lists them.");
    }
}

void check(const Options& options) {
    if (options.action != Options::Action::run)
        return;
    if (options.tour && !options.demo)
        throw Error("--tour needs --demo: the tour is a walk through the demonstration.");
    if (options.demo && (options.serviceOrigin || options.serviceCa))
        throw Error("--demo brings its own service; --service-origin and --service-ca do not go with it.");
    if (options.serviceCa && !std::filesystem::is_regular_file(*options.serviceCa))
        throw Error("There is no certificate file '" + options.serviceCa->string() + "'.");
}

} // namespace

RunningInstance::Service Options::service() const {
    if (demo)
        return {"the demonstration", ""};
    return {serviceOrigin ? serviceOrigin->text() : "", serviceCa ? serviceCa->string() : ""};
}

Profile Options::chooseProfile() const {
    if (profile)
        return Profile::under(*profile);
    if (demo)
        return Profile::under(std::filesystem::path(g_get_user_data_dir()) / "brisko-demo");
    return Profile::ofUser();
}

Options Options::parse(const std::vector<std::string>& arguments) {
    std::string name = "brisko";
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers = {name.data()};
    for (auto& argument : copies)
        pointers.push_back(argument.data());
    const auto count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);

    Options options;
    optind = 0;
    opterr = 0;
    int choice = 0;
    while ((choice = getopt_long(count, pointers.data(), "", table, nullptr)) != -1)
        apply(options, choice, optarg ? optarg : "");
    for (auto index = optind; index < count; ++index) {
        std::string url = pointers[static_cast<std::size_t>(index)];
        const auto scheme = url.substr(0, url.find(':'));
        if (scheme.size() != 6 || g_ascii_strcasecmp(scheme.c_str(), "brisko") != 0 ||
            scheme.size() == url.size())
            throw Error("Not a brisko URL: '" + url + "'.");
        options.urls.push_back(std::move(url));
    }
    check(options);
    return options;
}

std::string Options::help() {
    return "Usage: brisko [OPTION…] [brisko:URL…]\n"
           "\n"
           "  --demo                     start the embedded service and use it, in a profile of its own\n"
           "  --service-origin URL       use this service origin instead of the built-in one (https only)\n"
           "  --service-ca FILE          trust this PEM certificate for the service origin, nothing else\n"
           "  --profile DIR              keep every file of the program under DIR instead of the XDG "
           "folders\n"
           "  --tour DIR                 with --demo: walk through every screen by itself, saving a PNG of "
           "each to\n"
           "                             DIR, then quit\n"
           "  --version                  print the version\n"
           "  --help                     print this\n";
}
