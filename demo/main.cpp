#include "demo/Certificate.h"
#include "demo/HttpServer.h"
#include "demo/Options.h"
#include "demo/Service.h"
#include "demo/StateFile.h"

#include <glib-unix.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <memory>

namespace {

using namespace Demo;

using MainLoop = std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)>;

gboolean end(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

/// What the parent writes is of no interest; that it has gone is.
gboolean watchParent(int input, GIOCondition, gpointer loop) {
    char ignored[256];
    const ssize_t count = read(input, ignored, sizeof ignored);
    if (count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN)))
        return G_SOURCE_CONTINUE;
    return end(loop);
}

/// A terminal, a file or /dev/null has no parent at its other end whose death could be noticed.
bool hasParentBehind(int input) {
    struct stat status = {};
    return fstat(input, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

void serve(const Options& options) {
    const Certificate certificate = Certificate::make();
    Service service(options.service);
    const HttpServer server(
        certificate, options.port, [&service](const Request& request) { return service.answer(request); },
        Service::longestBody);
    replaceFile(options.certificate, certificate.pem);

    const MainLoop loop(g_main_loop_new(nullptr, FALSE), g_main_loop_unref);
    g_unix_signal_add(SIGTERM, end, loop.get());
    g_unix_signal_add(SIGINT, end, loop.get());
    if (!options.stay && hasParentBehind(STDIN_FILENO))
        g_unix_fd_add(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), watchParent,
                      loop.get());

    const nlohmann::ordered_json announcement = {{"origin", server.origin()},
                                                 {"certificate", options.certificate}};
    std::cout << announcement.dump() << '\n' << std::flush;
    g_main_loop_run(loop.get());
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the announcement that has gone must not end the service
    try {
        serve(Options::parse(argc, argv));
        return 0;
    } catch (const Options::Error& error) {
        std::cerr << "brisko-demo-service: " << error.what() << "\nTry --help.\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "brisko-demo-service: " << error.what() << "\n";
        return 1;
    }
}
