#include "TestService.h"

#include <gmock/gmock.h>

using namespace Demo;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

class AccountEndpoints : public ServiceTest {
protected:
    Response login(const std::string& username, const std::string& password) const {
        return client().post("/api/auth/login", {{"username", username}, {"password", password}});
    }
};

TEST_F(AccountEndpoints, seededAccountSignsInByUsernameAndByEmailInAnyCase) {
    for (const char* name : {"ada", "ADA", "ada@brisko.example", "Ada@Brisko.example"}) {
        const Response response = login(name, "lovelace-1843");
        EXPECT_EQ(response.status, 200u) << name;
        EXPECT_EQ(response.json(), Json({{"ok", true}}));
        EXPECT_EQ(client().get("/api/settings", response.cookie()).json().at("username"), "ada");
    }
}

TEST_F(AccountEndpoints, sessionCookieIsOutOfReachOfScriptsAndOtherSitesAndLastsThirtyDays) {
    const std::string cookie = login("ada", "lovelace-1843").header("set-cookie");
    for (const char* attribute : {"; Path=/", "; HttpOnly", "; Secure", "; SameSite=Lax", "; Expires="})
        EXPECT_THAT(cookie, HasSubstr(attribute));
    EXPECT_THAT(cookie, ::testing::Not(HasSubstr("Domain")));

    const std::string date = cookie.substr(cookie.find("Expires=") + 8);
    GDateTime* expires = soup_date_time_new_from_http_string(date.c_str());
    ASSERT_NE(expires, nullptr) << date;
    EXPECT_EQ(g_date_time_to_unix(expires), Clock::to_time_t(time() + std::chrono::days(30)));
    g_date_time_unref(expires);
}

TEST_F(AccountEndpoints, wrongPasswordAndUnknownNameAreToldTheSame) {
    for (const auto& [name, password] :
         {std::pair("ada", "lovelace-1844"), {"nobody", "lovelace-1843"}, {"", ""}}) {
        const Response response = login(name, password);
        EXPECT_EQ(response.status, 401u);
        EXPECT_EQ(response.error(), "Wrong username or password.");
        EXPECT_EQ(response.cookie(), "");
    }
}

TEST_F(AccountEndpoints, bodiesThatAreNoSuchFormAreRefusedWithASentence) {
    for (const char* path : {"login", "register", "forgot", "native"})
        for (const char* body :
             {"{", "[]", "\"ada\"", "{}", R"({"username": 7, "email": 7, "code": 7})", "\xff\xfe"}) {
            const Response response = client().send("POST", std::string("/api/auth/") + path, body);
            EXPECT_EQ(response.status, 400u) << path << " " << body;
            EXPECT_NE(response.error(), "") << path << " " << body;
        }
}

TEST_F(AccountEndpoints, signUpMakesAnEmptyAccountAndSignsItIn) {
    const Response response = client().post("/api/auth/register", signUpForm());
    ASSERT_EQ(response.status, 200u) << response.body;
    EXPECT_EQ(client().get("/api/settings", response.cookie()).json().at("email"), "mary@brisko.example");
    EXPECT_EQ(client().get("/api/tasks", response.cookie()).json().at("tasks"), Json::array());
    EXPECT_EQ(login("mary", "mechanism of the heavens").status, 200u);
    EXPECT_EQ(login("mary@brisko.example", "mechanism of the heavens").status, 200u);
}

TEST_F(AccountEndpoints, signUpNamesWhatIsWrong) {
    struct Case {
        const char* field;
        std::string value;
        unsigned status;
        const char* sentence;
    };
    for (const Case& c :
         {Case{"username", "Ada", 409, "taken"}, Case{"username", "a", 400, "3 to 32"},
          Case{"username", "a b c", 400, "3 to 32"}, Case{"password", "1234567", 400, "8 characters"},
          Case{"password", std::string(201, 'x'), 400, "too long"},
          Case{"email", "ADA@brisko.example", 409, "already"}, Case{"email", "mary", 400, "email"},
          Case{"email", "ma ry@x", 400, "email"}, Case{"captchaAnswer", "K7XM5", 400, "picture"},
          Case{"captchaAnswer", "", 400, "picture"}, Case{"captchaToken", "unknown", 400, "picture"}}) {
        Json form = signUpForm();
        form[c.field] = c.value;
        const Response response = client().post("/api/auth/register", form);
        EXPECT_EQ(response.status, c.status) << c.field << " " << c.value;
        EXPECT_THAT(response.error(), HasSubstr(c.sentence));
        EXPECT_EQ(response.cookie(), "");
    }
    EXPECT_EQ(login("mary", "mechanism of the heavens").status, 401u);
}

TEST_F(AccountEndpoints, emailMayBeLeftEmptyByAnyNumberOfAccounts) {
    for (const char* username : {"mary", "charles"}) {
        Json form = signUpForm();
        form["username"] = username;
        form["email"] = "";
        EXPECT_EQ(client().post("/api/auth/register", form).status, 200u);
    }
}

TEST_F(AccountEndpoints, challengeIsSpentByOneTryRightOrWrong) {
    Json wrong = signUpForm();
    wrong["captchaAnswer"] = "AAAAA";
    EXPECT_EQ(client().post("/api/auth/register", wrong).status, 400u);
    wrong["captchaAnswer"] = "K7XM4";
    EXPECT_EQ(client().post("/api/auth/register", wrong).status, 400u);

    Json right = signUpForm();
    right["captchaAnswer"] = " k7xm4 ";
    EXPECT_EQ(client().post("/api/auth/register", right).status, 200u);
    right["username"] = "second";
    right["email"] = "";
    EXPECT_EQ(client().post("/api/auth/register", right).status, 400u);
}

TEST_F(AccountEndpoints, challengeIsGoodForTenMinutes) {
    const Json inTime = signUpForm();
    Json late = signUpForm();
    late["username"] = "late";
    late["email"] = "";
    pass(599s);
    EXPECT_EQ(client().post("/api/auth/register", inTime).status, 200u);
    pass(1s);
    EXPECT_EQ(client().post("/api/auth/register", late).status, 400u);
}

TEST_F(AccountEndpoints, challengePictureIsAPngThatIsDrawnAfreshEachTime) {
    const auto image = [&] {
        return client().get("/api/auth/captcha").json().at("image").get<std::string>();
    };
    // The signature of a PNG file and its first chunk: 300 by 114 pixels.
    const std::string first = image();
    EXPECT_THAT(first, StartsWith("data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAASwAAABy"));
    EXPECT_NE(image(), first);
}

TEST_F(AccountEndpoints, resetNoticeDoesNotTellWhoHasAnAccount) {
    const auto forgot = [&](const char* email) {
        return client().post("/api/auth/forgot", {{"email", email}});
    };
    const Response known = forgot("ada@brisko.example");
    EXPECT_EQ(known.status, 200u);
    EXPECT_THAT(known.json().at("message").get<std::string>(), HasSubstr("reset link"));
    EXPECT_EQ(forgot("nobody@brisko.example").body, known.body);
    EXPECT_EQ(forgot("ada").status, 400u);
    EXPECT_THAT(forgot("ada").error(), HasSubstr("email address"));
}

TEST_F(AccountEndpoints, signingOutEndsTheSessionOnTheServiceAndTakesTheCookieBack) {
    const std::string cookie = client().signIn();
    const std::string elsewhere = client().signIn();
    const Response response = client().post("/api/auth/logout", Json::object(), cookie);
    EXPECT_EQ(response.status, 200u);
    EXPECT_THAT(response.header("set-cookie"), HasSubstr("brisko_session=;"));
    EXPECT_THAT(response.header("set-cookie"), HasSubstr("Expires=Thu, 01 Jan 1970 00:00:00 GMT"));
    EXPECT_EQ(client().get("/api/settings", cookie).status, 401u);
    EXPECT_EQ(client().get("/api/settings", elsewhere).status, 200u);
}

TEST_F(AccountEndpoints, sessionEndsWithItsCookie) {
    const std::string cookie = client().signIn();
    pass(std::chrono::days(30) - 1s);
    EXPECT_EQ(client().get("/api/settings", "other=1; " + cookie + "; last=2").status, 200u);
    pass(1s);
    EXPECT_EQ(client().get("/api/settings", cookie).status, 401u);
}

} // namespace
