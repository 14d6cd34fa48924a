#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "stream/control/Oddity.hpp"

namespace bex::stream {

// What dpkg refuses, or only dislikes, in a control member by itself.

/// Of a member of that name: "control", "triggers" and the maintainer scripts. Others have none; readConffiles()
/// finds those of "conffiles".
std::vector<Oddity> memberOddities(std::string_view name, std::string_view contents);

/// What ControlParagraph::parse() accepts in a package's "control" and dpkg does not, or only with a warning:
/// `control-comment`, `control-carriage-return` (a line that holds nothing else), `control-newline` (the last line
/// lacks it) and `control-colon` (a blank before the colon).
/// Each code comes once, with the first line that it is about.
std::vector<Oddity> controlOddities(std::string_view text);

/// Of "triggers" (deb-triggers(5)), one `triggers-syntax` for each line. dpkg is stricter than its manual page:
/// "#" begins a comment only at the front of a line, a line has at most 254 bytes, and the last one needs its
/// newline.
std::vector<Oddity> triggersOddities(std::string_view text);

/// Whether the control member of that name is run as a program: by dpkg, or by debconf ("config").
bool isMaintainerScript(std::string_view name) noexcept;

/// Why the script would not run as it is meant to. `script-line-end`: the first line, "#!", ends with a
/// carriage return, which becomes part of the interpreter's name or argument, or with a blank and the file.
/// `script-interpreter`: no interpreter follows, or its path is not absolute. `script-no-interpreter`, a warning:
/// there is none, so that sh runs the text. A compiled program is a sound script. Only the beginning of `contents`
/// is looked at.
std::optional<Oddity> maintainerScriptOddity(std::string_view contents);

}  // namespace bex::stream
