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

    HttpTest() { useClientThatTrusts(service.certificate()); }

    void useClientThatTrusts(const std::string& certificate) {
        const auto pem = folder.path() / "trusted.pem";
        DurableFile::write(pem, certificate);
        client = std::make_unique<SoupHttpClient>(jar, pem);
    }
    /// What the next start finds for the service's origin, even if this process is killed now.
    std::string namesOnDisk() const {
        std::string names;
        for (const auto& cookie : DurableCookieJar(file).cookiesFor(service.origin()))
            names += (names.empty() ? "" : " ") + cookie.name;
        return names;
    }
};
