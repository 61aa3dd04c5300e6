#include "TestClient.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <memory>
#include <vector>

using namespace Demo;
using ::testing::HasSubstr;

namespace {

/// The program as its parent sees it: options, announcement, standard input and exit status.
class Program {
public:
    explicit Program(std::vector<std::string> options) {
        std::vector<const char*> arguments = {DEMO_SERVICE_PROGRAM};
        for (const std::string& option : options)
            arguments.push_back(option.c_str());
        arguments.push_back(nullptr);
        const auto flags = static_cast<GSubprocessFlags>(
            G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_PIPE);
        GError* error = nullptr;
        process_ = GPtr<GSubprocess>::take(g_subprocess_newv(arguments.data(), flags, &error));
        if (!process_)
            throw std::runtime_error(GErrorPtr(error)->message);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        g_subprocess_force_exit(process_.get());
        g_subprocess_wait(process_.get(), nullptr, nullptr);
    }

    /// Waits for the line that says where the service is.
    Json announcement() {
        return Json::parse(line(g_subprocess_get_stdout_pipe(process_.get())), nullptr, false);
    }
    std::string complaint() { return line(g_subprocess_get_stderr_pipe(process_.get())); }

    void closeInput() {
        g_output_stream_close(g_subprocess_get_stdin_pipe(process_.get()), nullptr, nullptr);
    }
    void signal(int number) { g_subprocess_send_signal(process_.get(), number); }

    /// Waits for the end and returns the exit status; -1 when a signal ended it.
    int exitStatus() {
        g_subprocess_wait(process_.get(), nullptr, nullptr);
        return g_subprocess_get_if_exited(process_.get()) ? g_subprocess_get_exit_status(process_.get()) : -1;
    }

private:
    static std::string line(GInputStream* stream) {
        const auto reader = GPtr<GDataInputStream>::take(g_data_input_stream_new(stream));
        g_filter_input_stream_set_close_base_stream(G_FILTER_INPUT_STREAM(reader.get()), FALSE);
        const GText text(g_data_input_stream_read_line(reader.get(), nullptr, nullptr, nullptr));
        return text ? text.get() : "";
    }

    GPtr<GSubprocess> process_;
};

class DemoProgram : public ::testing::Test {
protected:
    TemporaryFolder folder_;
    std::string certificate_ = folder_.file("service.pem");
    std::string state_ = folder_.file("state.json");
};

TEST_F(DemoProgram, announcesWhereItIsAndEndsWithItsParent) {
    Program program({"--certificate", certificate_});
    const Json announcement = program.announcement();
    ASSERT_TRUE(announcement.is_object());
    EXPECT_EQ(announcement.at("certificate"), certificate_);
    struct stat status = {};
    ASSERT_EQ(stat(certificate_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    const TestClient client(announcement.at("origin"), certificate_);
    EXPECT_TRUE(client.origin().starts_with("https://127.0.0.1:"));
    EXPECT_EQ(client.get("/api/settings", client.signIn()).status, 200u);
    program.closeInput();
    EXPECT_EQ(program.exitStatus(), 0);
}

TEST_F(DemoProgram, endsOnRequestAndCanBeToldToStayWithoutItsParent) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Program program({"--certificate", certificate_, "--stay"});
        const TestClient client(program.announcement().at("origin"), certificate_);
        program.closeInput();
        EXPECT_EQ(client.get("/login").status, 200u);
        program.signal(signal);
        EXPECT_EQ(program.exitStatus(), 0);
    }
}

TEST_F(DemoProgram, whatWasAnsweredSurvivesASuddenDeath) {
    std::string cookie;
    {
        Program program({"--certificate", certificate_, "--state", state_, "--captcha-answer", "HELLO"});
        const TestClient client(program.announcement().at("origin"), certificate_);
        const Json form = {{"username", "mary"},
                           {"password", "mechanism of the heavens"},
                           {"email", ""},
                           {"captchaToken", client.get("/api/auth/captcha").json().at("token")},
                           {"captchaAnswer", "hello"}};
        cookie = client.post("/api/auth/register", form).cookie();
        EXPECT_EQ(client.post("/api/tasks", {{"title", "Last words"}}, cookie).status, 201u);
        program.signal(SIGKILL);
        EXPECT_EQ(program.exitStatus(), -1);
    }
    Program again({"--certificate", certificate_, "--state", state_});
    const TestClient client(again.announcement().at("origin"), certificate_);
    EXPECT_EQ(client.get("/api/tasks", cookie).json().at("tasks").at(0).at("title"), "Last words");
}

TEST_F(DemoProgram, refusesOptionsThatItCannotFollow) {
    struct Case {
        std::vector<std::string> options;
        const char* complaint;
    };
    for (const Case& c :
         {Case{{}, "--certificate"}, Case{{"--certificate", ""}, "--certificate"},
          Case{{"--certificate", certificate_, "--port", "65536"}, "--port"},
          Case{{"--certificate", certificate_, "--port", "-1"}, "--port"},
          Case{{"--certificate", certificate_, "--port", "https"}, "https"},
          Case{{"--certificate", certificate_, "--captcha-answer", "a b"}, "--captcha-answer"},
          Case{{"--certificate", certificate_, "--bogus"}, "--bogus"},
          Case{{"--certificate", certificate_, "extra"}, "extra"}}) {
        Program program(c.options);
        EXPECT_THAT(program.complaint(), HasSubstr(c.complaint));
        EXPECT_EQ(program.exitStatus(), 2) << c.complaint;
        EXPECT_FALSE(std::filesystem::exists(certificate_));
    }
}

TEST_F(DemoProgram, saysWhyItCannotStart) {
    Program first({"--certificate", certificate_});
    const std::string origin = first.announcement().at("origin");
    const std::string port = origin.substr(origin.rfind(':') + 1);
    Program second({"--certificate", folder_.file("second.pem"), "--port", port});
    EXPECT_THAT(second.complaint(), HasSubstr("cannot listen"));
    EXPECT_EQ(second.exitStatus(), 1);

    Program nowhere({"--certificate", folder_.file("missing/service.pem")});
    EXPECT_THAT(nowhere.complaint(), HasSubstr("missing"));
    EXPECT_EQ(nowhere.exitStatus(), 1);
}

} // namespace
