#include "TestClient.h"

#include <stdexcept>

namespace Demo {

namespace {

/// Runs the main context, and with it a server on the same thread, until the reply is there.
GBytesPtr sendAndRead(SoupSession* session, SoupMessage* message, GErrorPtr& problem) {
    GPtr<GAsyncResult> result;
    soup_session_send_and_read_async(
        session, message, G_PRIORITY_DEFAULT, nullptr,
        [](GObject*, GAsyncResult* done, gpointer out) {
            *static_cast<GPtr<GAsyncResult>*>(out) = GPtr<GAsyncResult>::share(done);
        },
        &result);
    while (!result)
        g_main_context_iteration(nullptr, TRUE);
    GError* error = nullptr;
    GBytesPtr bytes(soup_session_send_and_read_finish(session, result.get(), &error));
    problem.reset(error);
    return bytes;
}

std::string text(GBytes* bytes) {
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    return data ? std::string(data, size) : std::string();
}

void setBody(SoupMessage* message, const std::string& body, Framing framing) {
    if (body.empty())
        return;
    const GBytesPtr bytes(g_bytes_new(body.data(), body.size()));
    if (framing == Framing::contentLength)
        return soup_message_set_request_body_from_bytes(message, "application/json", bytes.get());
    const auto stream = GPtr<GInputStream>::take(g_memory_input_stream_new_from_bytes(bytes.get()));
    soup_message_set_request_body(message, "application/json", stream.get(), -1);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "brisko-demo-XXXXXX";
    if (!g_mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    path_ = name;
}

std::string Response::error() const {
    const Json value = json();
    return value.is_object() && value.contains("error") ? value["error"].get<std::string>() : "";
}

std::string Response::cookie() const {
    const std::string set = header("set-cookie");
    return set.starts_with("brisko_session=") ? set.substr(0, set.find(';')) : "";
}

TestClient::TestClient(std::string origin, const std::string& certificateFile) : origin_(std::move(origin)) {
    GError* error = nullptr;
    const auto anchors = GPtr<GTlsDatabase>::take(g_tls_file_database_new(certificateFile.c_str(), &error));
    if (!anchors)
        throw std::runtime_error(GErrorPtr(error)->message);
    session_ = GPtr<SoupSession>::take(soup_session_new_with_options("tls-database", anchors.get(), nullptr));
}

Response TestClient::get(const std::string& path, const std::string& cookie, const Headers& headers) const {
    return send("GET", path, "", cookie, headers);
}

Response TestClient::send(const std::string& method, const std::string& path, const std::string& body,
                          const std::string& cookie, const Headers& headers, Framing framing) const {
    const auto message = GPtr<SoupMessage>::take(soup_message_new(method.c_str(), (origin_ + path).c_str()));
    soup_message_add_flags(message.get(), SOUP_MESSAGE_NO_REDIRECT);
    SoupMessageHeaders* sent = soup_message_get_request_headers(message.get());
    if (!cookie.empty())
        soup_message_headers_append(sent, "Cookie", cookie.c_str());
    for (const auto& [name, value] : headers)
        soup_message_headers_append(sent, name.c_str(), value.c_str());
    setBody(message.get(), body, framing);

    GErrorPtr problem;
    const GBytesPtr bytes = sendAndRead(session_.get(), message.get(), problem);
    if (!bytes)
        return {0, {}, problem->message};
    Response response{soup_message_get_status(message.get()), {}, text(bytes.get())};
    SoupMessageHeadersIter iterator;
    const char* name = nullptr;
    const char* value = nullptr;
    soup_message_headers_iter_init(&iterator, soup_message_get_response_headers(message.get()));
    while (soup_message_headers_iter_next(&iterator, &name, &value))
        response.headers[GText(g_ascii_strdown(name, -1)).get()] = value;
    return response;
}

std::string TestClient::signIn(const std::string& username, const std::string& password) const {
    return post("/api/auth/login", {{"username", username}, {"password", password}}).cookie();
}

} // namespace Demo
