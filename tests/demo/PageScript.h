#pragma once

#include "demo/PageFiles.h"
#include "platform/linux/GPtr.h"

#include <jsc/jsc.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <stdexcept>
#include <string>

namespace Demo {

/// A script of the page, run in the engine that runs the page but without a document.
class PageScript {
public:
    /// Loads a file of the page. What it imports is not there, so only functions that do without can be
    /// called.
    explicit PageScript(const char* file) {
        // The engine's interface runs scripts, which neither import nor export.
        static const std::regex moduleWords("(^|\n)(import [^;]*;|export )");
        evaluate(std::regex_replace(PageFiles::read(file), moduleWords, "$1"));
    }

    /// The value of an expression; {"error": message} when it throws.
    nlohmann::json value(const std::string& expression) const {
        return nlohmann::json::parse(
            evaluate("try { JSON.stringify(" + expression +
                     ") } catch (error) { JSON.stringify({ error: error.message }) }"));
    }

private:
    std::string evaluate(const std::string& script) const {
        const auto result = GPtr<JSCValue>::take(
            jsc_context_evaluate(context_.get(), script.data(), static_cast<gssize>(script.size())));
        if (JSCException* exception = jsc_context_get_exception(context_.get()))
            throw std::runtime_error(jsc_exception_get_message(exception));
        return GText(jsc_value_to_string(result.get())).get();
    }

    GPtr<JSCContext> context_ = GPtr<JSCContext>::take(jsc_context_new());
};

} // namespace Demo
