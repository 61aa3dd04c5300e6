#pragma once

#include "demo/Certificate.h"
#include "demo/Http.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <cstdint>
#include <functional>
#include <string>

namespace Demo {

/// Serves HTTPS on 127.0.0.1, and on nothing else, from the main context of the thread that made it.
///
/// A request body that is longer than its address takes is answered 413 and not kept in memory.
class HttpServer {
public:
    using Handler = std::function<Answer(const Request&)>;
    using LongestBody = std::function<std::size_t(const std::string& path)>; ///< in bytes

    /// `port` 0 lets the system pick a free one. Throws std::runtime_error when the port cannot be had.
    HttpServer(const Certificate& certificate, std::uint16_t port, Handler handler, LongestBody longestBody);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    /// "https://127.0.0.1:PORT"
    std::string origin() const;

private:
    static void serve(SoupServer*, SoupServerMessage* message, const char* path, GHashTable* query,
                      gpointer self);
    static void limitBody(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                          gpointer self);
    static void countChunk(SoupServerMessage* message, GBytes*, gpointer self);

    GPtr<SoupServer> server_;
    Handler handler_;
    LongestBody longestBody_;
};

} // namespace Demo
