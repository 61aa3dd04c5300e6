#include "reminders/linux/AgentProcess.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace {

constexpr auto programName = "brisko-reminders";

} // namespace

AgentProcess::AgentProcess(GPtr<GDBusConnection> bus, ReminderPlace place, std::filesystem::path program,
                           std::chrono::milliseconds patience)
    : bus_(std::move(bus)),
      place_(std::move(place)),
      program_(std::move(program)),
      patience_(patience),
      broughtBack_(std::chrono::steady_clock::now() - pause),
      self_(std::make_shared<AgentProcess*>(this)) {
    watch_ = g_bus_watch_name_on_connection(bus_.get(), place_.busName().c_str(),
                                            G_BUS_NAME_WATCHER_FLAGS_NONE, appeared, vanished, this, nullptr);
}

AgentProcess::~AgentProcess() {
    g_bus_unwatch_name(watch_);
    end();
}

std::filesystem::path AgentProcess::usualProgram() {
    std::error_code failure;
    const auto beside = std::filesystem::read_symlink("/proc/self/exe", failure).parent_path() / programName;
    return std::filesystem::exists(beside, failure) ? beside
                                                    : std::filesystem::path(BRISKO_LIBEXECDIR) / programName;
}

Task<bool> AgentProcess::start() {
    if (isThere_ || hasEnded_)
        co_return isThere_;
    const auto waiter = waiting_.emplace_back(std::make_shared<Completion<bool>>());
    if (!late_.running())
        late_.start(patience_, [this] { settle(false); });
    if (!process_)
        launchForWaiting();
    co_return co_await *waiter;
}

void AgentProcess::end() {
    hasEnded_ = true;
    pausing_.stop();
    settle(false);
}

void AgentProcess::appeared(GDBusConnection*, const char*, const char*, gpointer self) {
    auto& process = *static_cast<AgentProcess*>(self);
    process.isThere_ = true;
    process.settle(true);
}

void AgentProcess::vanished(GDBusConnection*, const char*, gpointer self) {
    auto& process = *static_cast<AgentProcess*>(self);
    process.isThere_ = false;
    process.bringBack();
}

void AgentProcess::exited(GObject* process, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<std::weak_ptr<AgentProcess*>> held(
        static_cast<std::weak_ptr<AgentProcess*>*>(data));
    g_subprocess_wait_finish(G_SUBPROCESS(process), result, nullptr);
    const auto wasKilled = g_subprocess_get_if_signaled(G_SUBPROCESS(process));
    const auto self = held->lock();
    if (!self)
        return;
    auto& agent = **self;
    agent.process_ = GPtr<GSubprocess>();
    if (agent.isThere_)
        return;
    if (agent.waiting_.empty() && wasKilled)
        agent.bringBack();
    else if (!agent.waiting_.empty() && !agent.isForWaiting_)
        agent.launchForWaiting(); // the one that ended was started before there was anybody to wait
    else
        agent.settle(false);
}

void AgentProcess::launchForWaiting() {
    isForWaiting_ = true;
    launch(Mode::always);
}

/// There is one process at a time, as two would be in each other's way.
void AgentProcess::launch(Mode mode) {
    const auto program = program_.string();
    const auto folder = place_.folder.string();
    std::vector<const char*> arguments = {program.c_str(), "--application-id", place_.applicationId.c_str(),
                                          "--state", folder.c_str()};
    if (mode == Mode::ifPending)
        arguments.push_back("--if-pending");
    arguments.push_back(nullptr);
    const auto flags =
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE);
    process_ = GPtr<GSubprocess>::take(g_subprocess_newv(arguments.data(), flags, nullptr));
    if (!process_) {
        settle(false);
        return;
    }
    auto held = std::make_unique<std::weak_ptr<AgentProcess*>>(self_);
    g_subprocess_wait_async(process_.get(), nullptr, exited, held.release());
}

void AgentProcess::bringBack() {
    std::error_code failure;
    if (hasEnded_ || g_dbus_connection_is_closed(bus_.get()) || process_ || !waiting_.empty() ||
        !std::filesystem::exists(place_.pendingFile(), failure))
        return;
    const auto now = std::chrono::steady_clock::now();
    const auto next = broughtBack_ + pause;
    if (now < next) {
        pausing_.start(std::chrono::ceil<std::chrono::milliseconds>(next - now), [this] {
            if (!isThere_)
                bringBack();
        });
        return;
    }
    broughtBack_ = now;
    launch(Mode::ifPending);
}

void AgentProcess::settle(bool isThere) {
    late_.stop();
    isForWaiting_ = false;
    for (const auto& waiter : std::exchange(waiting_, {}))
        waiter->resolve(isThere);
}
