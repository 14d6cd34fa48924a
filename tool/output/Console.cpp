#include "output/Console.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "stream/base/DescriptorBytes.hpp"

namespace bex::tool {

namespace {

// Large enough that the cost of a call no longer counts; a reader of the pipe still sees output soon.
constexpr std::size_t bufferBytes = 64 * 1024;

/// Whether the user's environment allows colour where none was asked for by option (no-color.org).
bool environmentWantsColor() {
    const char* none = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (none == nullptr || *none == '\0') && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

/// ECMA-48, "select graphic rendition". No default case: the compiler then reports a style without one.
const char* sequenceOf(Style style) {
    switch (style) {
        case Style::plain:
            return "";
        case Style::strong:
            return "\x1b[1m";
        case Style::faint:
            return "\x1b[2m";
        case Style::bad:
            return "\x1b[31m";
        case Style::good:
            return "\x1b[32m";
        case Style::name:
            return "\x1b[36m";
    }
    return "";
}

/// The text must be harmless already: callers escape what comes from packages.
std::string wrapped(bool color, Style style, std::string_view text) {
    if (!color || style == Style::plain || text.empty()) {
        return std::string(text);
    }
    return std::string(sequenceOf(style)).append(text).append("\x1b[0m");
}

/// Further lines of a message stand below its first, so that each message is recognised by its "bex: ".
std::string indented(std::string_view text) {
    std::string result("bex: ");
    for (const char c : text) {
        result += c;
        if (c == '\n') {
            result += "  ";
        }
    }
    return result.append("\n");
}

}  // namespace

// Asked once: neither stream changes while the program runs.
Console::Console() : outIsTerminal_(isatty(STDOUT_FILENO) == 1), errorIsTerminal_(isatty(STDERR_FILENO) == 1) {
    setColor(ColorWhen::automatic);
}

void Console::setColor(ColorWhen when) {
    const bool allowed = when == ColorWhen::always || (when == ColorWhen::automatic && environmentWantsColor());
    // Each stream by itself: one of them may be a file while the other is a terminal.
    outColor_ = allowed && (outIsTerminal_ || when == ColorWhen::always);
    errorColor_ = allowed && (errorIsTerminal_ || when == ColorWhen::always);
}

unsigned Console::errorWidth() const noexcept {
    winsize size{};
    // Terminals over serial lines report no width.
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 80;
    }
    return size.ws_col;
}

void Console::out(std::string_view bytes) {
    buffer_.append(bytes);
    if (buffer_.size() >= bufferBytes) {
        flush();
    }
}

void Console::flush() {
    // The line of progress would be in the middle of the output.
    if (outIsTerminal_ && !buffer_.empty()) {
        status("");
    }
    const int failure = stream::writeAll(STDOUT_FILENO, buffer_);
    // Emptied whatever happened: a later flush must not write the same bytes again.
    buffer_.clear();
    if (failure == EPIPE) {
        throw OutputClosed{};
    }
    if (failure != 0) {
        throw systemError("standard output", "write", failure);
    }
}

void Console::error(std::string_view text) {
    const std::string lines = indented(text);
    // Only the first four bytes, "bex:", are coloured.
    rawError(styledError(Style::bad, std::string_view(lines).substr(0, 4)).append(lines.substr(4)));
}

/// Notes go to standard error, so that standard output holds nothing but the answer.
void Console::note(std::string_view text) {
    if (quiet_) {
        return;
    }
    if (!json_) {
        rawError(indented(text));
        return;
    }
    Json object = {{"schema", 1}};
    putText(object, "note", text);
    rawError(jsonLine(object));
}

void Console::rawError(std::string_view bytes) noexcept {
    status("");
    // A failure to write to standard error has nowhere to be reported.
    stream::writeAll(STDERR_FILENO, bytes);
}

void Console::status(std::string_view line) noexcept {
    // Only a line that is shown has to be cleared: standard error may be a file.
    if (statusShown_ || !line.empty()) {
        stream::writeAll(STDERR_FILENO, "\r");
        stream::writeAll(STDERR_FILENO, line);
        stream::writeAll(STDERR_FILENO, "\x1b[K");
    }
    statusShown_ = !line.empty();
}

std::string Console::styled(Style style, std::string_view text) const {
    return wrapped(outColor_, style, text);
}

std::string Console::styledError(Style style, std::string_view text) const {
    return wrapped(errorColor_, style, text);
}

}  // namespace bex::tool
