#pragma once

#include <locale.h>

#include <string>

namespace bex::stream {

/// The C locale for the calling thread as long as it lives, so that a pattern matches the same bytes everywhere.
class PlainLocale {
public:
    PlainLocale();
    ~PlainLocale();
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

private:
    locale_t plain_;
    locale_t before_;
};

/// Whether a plain path is the pattern, in plainPath() form itself, or matches it as a glob(7) pattern; "*" and
/// "?" match "/" too. Needs a PlainLocale.
bool matches(const std::string& pattern, const std::string& path);

}  // namespace bex::stream
