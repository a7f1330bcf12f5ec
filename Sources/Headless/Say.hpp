#pragma once
// Lines for people. A standard output or error that is closed or full is nobody's fault: what cannot be said is not said.

#include <fmt/format.h>

#include <cstdio>
#include <utility>

namespace kestrelyne {

template <class... Arguments>
void say(std::FILE* stream, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    std::fputs(fmt::format(text, std::forward<Arguments>(arguments)...).c_str(), stream);
}

}  // namespace kestrelyne
