#pragma once

#include "web/linux/WebEngine.h"

/// The module's only symbol: makes the engine. The caller owns the result. Throws as `loadWebEngine` does.
extern "C" [[gnu::visibility("default")]] WebEngine* briskoMakeWebEngine(const WebEngine::Options& options);

/// The name under which the module is found beside the program or in its library folder.
inline constexpr const char* webEngineModuleName = "brisko-web-engine.so";
inline constexpr const char* webEngineFactoryName = "briskoMakeWebEngine";
