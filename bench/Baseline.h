#pragma once

#include "platform/linux/Graphics.h"

#include <cstdlib>

namespace Baseline {

/// What anybody would choose for a toolkit that draws without a graphics processor.
inline void chooseRenderer() {
    if (!Graphics::isAccelerated())
        setenv("GSK_RENDERER", "cairo", 0);
}

} // namespace Baseline
