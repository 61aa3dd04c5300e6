#include "platform/linux/Graphics.h"

#include <glib.h>

#include <filesystem>

bool Graphics::isAccelerated() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", failure))
        if (entry.path().filename().string().starts_with("renderD"))
            return true;
    return false;
}

void Graphics::chooseRenderer() {
    if (!isAccelerated())
        g_setenv("GSK_RENDERER", "cairo", FALSE);
}
