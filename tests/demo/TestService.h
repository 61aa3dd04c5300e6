#pragma once

#include "TestClient.h"
#include "demo/Certificate.h"
#include "demo/HttpServer.h"
#include "demo/Service.h"
#include "demo/StateFile.h"

#include <gtest/gtest.h>

#include <memory>

namespace Demo {

/// The real service over real HTTPS on a port that the system picks, with a clock that the test moves.
class ServiceTest : public ::testing::Test {
protected:
    ServiceTest() { start(); }

    void start(std::optional<std::string> stateFile = std::nullopt) {
        server_.reset();
        service_.reset();
        service_ = std::make_unique<Service>(
            Service::Options{std::move(stateFile), "K7XM4", [this] { return time_; }});
        server_ = std::make_unique<HttpServer>(
            certificate_, 0, [this](const Request& request) { return service_->answer(request); },
            Service::longestBody);
        const std::string pem = folder_.file("service.pem");
        replaceFile(pem, certificate_.pem);
        client_ = std::make_unique<TestClient>(server_->origin(), pem);
    }

    const TestClient& client() const { return *client_; }

    void pass(std::chrono::seconds time) { time_ += time; }
    Clock::time_point time() const { return time_; }

    /// A sign-up form that is right in every field, with a challenge of its own.
    Json signUpForm() const {
        return {{"username", "mary"},
                {"password", "mechanism of the heavens"},
                {"email", "mary@brisko.example"},
                {"captchaToken", client().get("/api/auth/captcha").json().at("token")},
                {"captchaAnswer", "K7XM4"}};
    }

    TemporaryFolder folder_;

private:
    Clock::time_point time_ = Clock::now();
    Certificate certificate_ = Certificate::make();
    std::unique_ptr<Service> service_;
    std::unique_ptr<HttpServer> server_;
    std::unique_ptr<TestClient> client_;
};

} // namespace Demo
