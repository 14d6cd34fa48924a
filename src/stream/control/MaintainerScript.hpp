#pragma once

#include <optional>
#include <string_view>

#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// Whether the control member of that name is run as a program: by dpkg, or by debconf ("config").
bool isMaintainerScript(std::string_view name) noexcept;

/// Why the script would not run as it is meant to. `script-line-end`: the first line, "#!", ends with a
/// carriage return, which becomes part of the interpreter's name or argument, or with a blank and the file.
/// `script-interpreter`: no interpreter follows, or its path is not absolute. `script-no-interpreter`, a warning:
/// there is none, so that sh runs the text. A compiled program is a sound script. Only the beginning of `contents`
/// is looked at.
std::optional<Oddity> maintainerScriptOddity(std::string_view contents);

}  // namespace bex::stream
