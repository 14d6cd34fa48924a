#pragma once

namespace bex::repo {

/// The style sheet of all pages.
extern const char* const kStyleSheet;

/// The script of the list of packages: hides rows that do not match what is typed, and shows the repository's own
/// address. The pages are whole without it.
extern const char* const kScript;

}  // namespace bex::repo
