#include "output/ProgressBar.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Interrupt.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "stream/base/Text.hpp"

namespace bex::tool {

namespace {

// Most packages are done before it: a bar that only flashes up is worse than none.
constexpr double quietSeconds = 0.5;
constexpr unsigned barColumns = 20;

/// `part` is between 0 and 1, or the second length would wrap.
std::string bar(double part) {
    const auto full = static_cast<std::size_t>(part * barColumns);
    return "[" + std::string(full, '#') + std::string(barColumns - full, '.') + "]";
}

std::string timeLeft(double seconds) {
    const auto whole = static_cast<unsigned long>(seconds + 0.5);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

ProgressBar::ProgressBar(Context& context, std::string verb)
    : context_(context), verb_(std::move(verb)), start_(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
    // The destructor of a bar that was never drawn clears nothing: see Console::status().
    context_.console.status("");
}

/// For packages from a pipe, whose size nobody knows. Installed-Size is the package's own word and only an
/// estimate, in KiB; 32 bits keep the product within 64.
void ProgressBar::expect(const stream::ControlParagraph& control) {
    const std::string* size = control.find("Installed-Size");
    if (size != nullptr) {
        expectedBytes_ = std::uint64_t{stream::parseWhole<std::uint32_t>(*size).value_or(0)} * 1024;
    }
}

stream::ProgressCallback ProgressBar::callback() {
    return [this](const stream::Progress& progress) { return update(progress); };
}

/// The library calls this now and then and stops when it gives false: an interrupt ends the work here.
bool ProgressBar::update(const stream::Progress& progress) {
    const std::chrono::duration<double> past = std::chrono::steady_clock::now() - start_;
    if (context_.progress == ProgressWhen::json) {
        printJson(progress, past.count());
    } else if (context_.progress == ProgressWhen::automatic && context_.console.errorIsTerminal() &&
               !context_.quiet && past.count() > quietSeconds) {
        draw(progress, past.count());
    }
    return !interrupted();
}

std::uint64_t ProgressBar::totalOf(const stream::Progress& progress) const {
    return progress.bytesTotal > 0 ? progress.bytesTotal : expectedBytes_;
}

void ProgressBar::draw(const stream::Progress& progress, double seconds) {
    const double rate = static_cast<double>(progress.bytesDone) / seconds;
    std::string line = verb_ + " ";
    const auto total = static_cast<double>(totalOf(progress));
    if (total > 0) {
        const double part = std::min(1.0, static_cast<double>(progress.bytesDone) / total);
        // A rate of 0 is a standstill, for which no time can be given.
        const double rest = total * (1.0 - part);
        line += fmt::format("{} {:3.0f} % {}/s {} left ", bar(part), part * 100.0, humanBytes(rate),
                            timeLeft(rate > 0 ? rest / rate : 0));
    } else {
        line += fmt::format("{} {}/s ", humanBytes(static_cast<double>(progress.bytesDone)), humanBytes(rate));
    }
    // The name is the package's and might hold sequences that change the terminal.
    line += stream::escapeForDisplay(progress.entry);
    // One column less: a line that fills the last column wraps on some terminals, and "\r" then clears the wrong
    // one.
    context_.console.status(cutToColumns(line, context_.console.errorWidth() - 1));
}

void ProgressBar::printJson(const stream::Progress& progress, double seconds) {
    Json object = {{"schema", 1},
                   {"progress", verb_},
                   {"bytesDone", progress.bytesDone},
                   {"bytesTotal", totalOf(progress)},
                   {"seconds", seconds}};
    putText(object, "entry", progress.entry);
    context_.console.rawError(jsonLine(object));
}

}  // namespace bex::tool
