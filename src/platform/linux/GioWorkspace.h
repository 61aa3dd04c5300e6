#pragma once

#include "platform/Workspace.h"

/// Opens URLs with the desktop's default programs, through GIO and, inside a sandbox, its portal.
class GioWorkspace : public Workspace {
public:
    using Workspace::open;
    void open(const Url& url, std::function<void(const Error&)> onFailure) override;
};
