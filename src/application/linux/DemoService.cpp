#include "application/linux/DemoService.h"

#include "account/BriskoAPI.h"
#include "platform/Error.h"
#include "platform/Json.h"
#include "platform/linux/DurableFile.h"

#include <gio/gunixinputstream.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <vector>

namespace {

/// Far longer than any start takes, on a busy machine too.
constexpr std::chrono::seconds patience(30);

/// Beside the program in a build folder, in the folder for helper programs once installed.
std::filesystem::path programFile() {
    const auto beside = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "brisko-demo-service";
    return std::filesystem::exists(beside) ? beside
                                           : std::filesystem::path(BRISKO_LIBEXECDIR) / "brisko-demo-service";
}

} // namespace

DemoService::DemoService(const Options& options) : certificate_(options.certificate) {
    DurableFile::makePrivateFolder(options.certificate.parent_path());
    DurableFile::makePrivateFolder(options.state.parent_path());
    const auto program = programFile().string();
    std::vector<const char*> arguments = {program.c_str(), "--certificate", options.certificate.c_str(),
                                          "--state", options.state.c_str()};
    if (options.captchaAnswer) {
        arguments.push_back("--captcha-answer");
        arguments.push_back(options.captchaAnswer->c_str());
    }
    arguments.push_back(nullptr);
    GError* error = nullptr;
    child_ = GPtr<GSubprocess>::take(g_subprocess_newv(
        arguments.data(),
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE),
        &error));
    if (!child_) {
        const GErrorPtr owner(error);
        throw Error("The demonstration service could not be started: " + std::string(error->message));
    }
}

DemoService::~DemoService() {
    // In this order, and the pipe is closed only afterwards: a leak checker stops the child's threads while
    // it ends, and would wait for ever for one that is told to go on then.
    goOn();
    g_subprocess_send_signal(child_.get(), SIGTERM);
    g_subprocess_wait(child_.get(), nullptr, nullptr);
}

Url DemoService::origin() {
    const auto greeting = parseJson(readLine());
    if (greeting.is_object() && greeting.contains("origin") && greeting["origin"].is_string())
        if (const auto origin = BriskoAPI::parseOrigin(greeting["origin"].get<std::string>()))
            return *origin;
    throw Error("The demonstration service did not start.");
}

void DemoService::pause() {
    g_subprocess_send_signal(child_.get(), SIGSTOP);
}

void DemoService::goOn() {
    g_subprocess_send_signal(child_.get(), SIGCONT);
}

std::string DemoService::readLine() {
    auto* stream = G_UNIX_INPUT_STREAM(g_subprocess_get_stdout_pipe(child_.get()));
    const auto descriptor = g_unix_input_stream_get_fd(stream);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::string line;
    std::array<char, 4096> part{};
    while (line.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{.fd = descriptor, .events = POLLIN, .revents = 0};
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0)
            break;
        const auto count = read(descriptor, part.data(), part.size());
        if (count <= 0)
            break;
        line.append(part.data(), static_cast<std::size_t>(count));
    }
    return line.substr(0, line.find('\n'));
}
