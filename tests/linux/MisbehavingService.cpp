#include "linux/MisbehavingService.h"

#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int threads = 16;

/// The length that the head of a request announces for its body.
std::size_t announcedLength(const std::string& head) {
    constexpr std::string_view name = "Content-Length: ";
    const auto found = head.find(name);
    return found == std::string::npos ? 0 : std::strtoul(head.c_str() + found + name.size(), nullptr, 10);
}

} // namespace

std::string MisbehavingService::Conversation::request() {
    std::array<char, 4096> buffer = {};
    for (;;) {
        if (const auto headEnd = unread_.find("\r\n\r\n"); headEnd != std::string::npos) {
            const auto length = headEnd + 4 + announcedLength(unread_.substr(0, headEnd));
            if (unread_.size() >= length) {
                auto whole = unread_.substr(0, length);
                unread_.erase(0, length);
                const std::lock_guard lock(service_.mutex_);
                service_.requests_.push_back(whole);
                g_main_context_wakeup(nullptr); // somebody may wait for just this
                return whole;
            }
        }
        const auto count = g_input_stream_read(g_io_stream_get_input_stream(stream_), buffer.data(),
                                               buffer.size(), service_.ending_.get(), nullptr);
        if (count <= 0)
            return {};
        unread_.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

void MisbehavingService::Conversation::send(std::string_view bytes) {
    g_output_stream_write_all(g_io_stream_get_output_stream(stream_), bytes.data(), bytes.size(), nullptr,
                              service_.ending_.get(), nullptr);
}

void MisbehavingService::Conversation::reset() {
    auto* socket = g_socket_connection_get_socket(socket_);
    const linger dropped = {1, 0};
    setsockopt(g_socket_get_fd(socket), SOL_SOCKET, SO_LINGER, &dropped, sizeof dropped);
    g_socket_close(socket, nullptr);
}

void MisbehavingService::Conversation::awaitEnd() {
    while (!request().empty()) {
    }
}

void MisbehavingService::Conversation::awaitStep() {
    std::unique_lock lock(service_.mutex_);
    service_.changed_.wait(lock, [this] { return service_.steps_ > 0 || service_.ended_; });
    service_.steps_ -= 1;
}

MisbehavingService::MisbehavingService(Behaviour behaviour, Security security, const char* address)
    : security_(security),
      address_(address),
      certificate_(Demo::Certificate::make()),
      ending_(GPtr<GCancellable>::take(g_cancellable_new())),
      listener_(GPtr<GSocketService>::take(g_threaded_socket_service_new(threads))),
      behaviour_(std::move(behaviour)) {
    const auto place = GPtr<GSocketAddress>::take(g_inet_socket_address_new_from_string(address, 0));
    GSocketAddress* effective = nullptr;
    GError* error = nullptr;
    if (!g_socket_listener_add_address(G_SOCKET_LISTENER(listener_.get()), place.get(), G_SOCKET_TYPE_STREAM,
                                       G_SOCKET_PROTOCOL_TCP, nullptr, &effective, &error))
        throw std::runtime_error(GErrorPtr(error)->message);
    const auto chosen = GPtr<GSocketAddress>::take(effective);
    port_ = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(chosen.get()));
    g_signal_connect(listener_.get(), "run", G_CALLBACK(serve), this);
}

MisbehavingService::~MisbehavingService() {
    g_socket_service_stop(listener_.get());
    g_socket_listener_close(G_SOCKET_LISTENER(listener_.get()));
    g_cancellable_cancel(ending_.get());
    std::unique_lock lock(mutex_);
    ended_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return active_ == 0; });
}

MisbehavingService::Behaviour MisbehavingService::replying(std::string bytes) {
    return [bytes = std::move(bytes)](Conversation& conversation) {
        conversation.request();
        conversation.send(bytes);
    };
}

std::string MisbehavingService::reply(const std::string& status, const std::string& headers,
                                      const std::string& body) {
    return "HTTP/1.1 " + status + "\r\n" + headers +
           "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void MisbehavingService::behave(Behaviour behaviour) {
    const std::lock_guard lock(mutex_);
    behaviour_ = std::move(behaviour);
}

void MisbehavingService::admit(int steps) {
    const std::lock_guard lock(mutex_);
    steps_ += steps;
    changed_.notify_all();
    g_main_context_wakeup(nullptr);
}

int MisbehavingService::stepsAhead() const {
    const std::lock_guard lock(mutex_);
    return steps_;
}

Url MisbehavingService::origin() const {
    const std::string scheme = security_ == Security::tls ? "https" : "http";
    return *Url::parse(scheme + "://" + address_ + ":" + std::to_string(port_));
}

std::vector<std::string> MisbehavingService::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

int MisbehavingService::connections() const {
    const std::lock_guard lock(mutex_);
    return connections_;
}

gboolean MisbehavingService::serve(GThreadedSocketService*, GSocketConnection* socket, GObject*,
                                   gpointer self) {
    auto* service = static_cast<MisbehavingService*>(self);
    {
        const std::lock_guard lock(service->mutex_);
        service->connections_ += 1;
        service->active_ += 1;
    }
    service->converse(socket);
    const std::lock_guard lock(service->mutex_);
    service->active_ -= 1;
    service->changed_.notify_all();
    return TRUE;
}

void MisbehavingService::converse(GSocketConnection* socket) {
    auto stream = GPtr<GIOStream>::share(G_IO_STREAM(socket));
    if (security_ == Security::tls) {
        stream = GPtr<GIOStream>::take(
            g_tls_server_connection_new(G_IO_STREAM(socket), certificate_.tls.get(), nullptr));
        if (!stream || !g_tls_connection_handshake(G_TLS_CONNECTION(stream.get()), ending_.get(), nullptr))
            return;
    }
    Behaviour behaviour;
    {
        const std::lock_guard lock(mutex_);
        behaviour = behaviour_;
    }
    Conversation conversation(*this, socket, stream.get());
    behaviour(conversation);
    g_io_stream_close(stream.get(), nullptr, nullptr);
}
