#pragma once

#include <chrono>
#include <string>

#include "Context.hpp"
#include "bex/stream/Progress.hpp"

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

    /// Refers to this, which must outlive the operation.
    stream::ProgressCallback callback();

private:
    bool update(const stream::Progress& progress);
    void draw(const stream::Progress& progress, double seconds);
    void printJson(const stream::Progress& progress, double seconds);

    Context& context_;
    std::string verb_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace bex::tool
