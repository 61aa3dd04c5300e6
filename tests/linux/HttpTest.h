#pragma once

#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupHttpClient.h"
#include "linux/MainLoop.h"
#include "linux/MisbehavingService.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

/// The real client and the real jar, at a service that does whatever the test says.
class HttpTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-http"};
    MisbehavingService service{[](MisbehavingService::Conversation&) {}};
    const std::filesystem::path file = folder.path() / "jar" / "cookies.json";
    DurableCookieJar jar{file};
    std::unique_ptr<SoupHttpClient> client;

    HttpTest() { useClientThatTrusts(service); }

    void useClientThatTrusts(const MisbehavingService& trusted) {
        const auto pem = folder.path() / "trusted.pem";
        DurableFile::write(pem, trusted.certificate());
        client = std::make_unique<SoupHttpClient>(jar, pem);
    }
    /// What a start right after a kill would find, for the service's origin.
    std::string namesOnDisk() const {
        const TemporaryFolder copy("brisko-http");
        if (std::filesystem::exists(file))
            std::filesystem::copy_file(file, copy.path() / "cookies.json");
        std::string names;
        for (const auto& cookie : DurableCookieJar(copy.path() / "cookies.json").cookiesFor(service.origin()))
            names += (names.empty() ? "" : " ") + cookie.name;
        return names;
    }
};
