#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Progress.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// Shows how far a long operation is, on standard error: a bar with rate, time left and current path when that is
/// a terminal and the work lasts over half a second; one JSON object a line for `--progress=json`.
/// Cancels the operation after an interrupt.
class ProgressBar {
public:
    /// `verb` says what is going on, such as "packing". The context must outlive this.
    ProgressBar(Context& context, std::string verb);
    /// Wipes the bar off the terminal.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Takes the paragraph's Installed-Size for the total where the operation does not know it.
    void expect(const stream::ControlParagraph& control);

    /// Refers to this, which must outlive the operation.
    stream::ProgressCallback callback();

private:
    std::uint64_t totalOf(const stream::Progress& progress) const;
    bool update(const stream::Progress& progress);
    void draw(const stream::Progress& progress, double seconds);
    void printJson(const stream::Progress& progress, double seconds);

    Context& context_;
    std::string verb_;
    std::chrono::steady_clock::time_point start_;
    std::uint64_t expectedBytes_ = 0;
};

}  // namespace bex::tool
