#pragma once

#include <array>
#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

namespace bex::stream {

// Dates of control files have these names (RFC 5322, section 3.3), whatever the locale says. strftime() and
// strptime() have those of the locale.
constexpr std::array<std::string_view, 7> kDayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> kMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Such as "Sun, 22 Nov", with which a date begins. The fields must be valid.
inline std::string dayAndMonth(const std::tm& date) {
    std::string text(kDayNames.at(static_cast<std::size_t>(date.tm_wday)));
    text += ", ";
    // One digit or two.
    const std::string day = std::to_string(date.tm_mday);
    text.append(2 - day.size(), '0').append(day) += ' ';
    return text.append(kMonthNames.at(static_cast<std::size_t>(date.tm_mon)));
}

}  // namespace bex::stream
