#pragma once

#include <string>
#include <string_view>

namespace bex::tool {

enum class Style { plain, strong, faint, bad, good, name };
enum class ColorWhen { automatic, always, never };

/// Thrown when nobody reads standard output any more; the program then ends without a word. SIGPIPE has to be
/// ignored for it.
struct OutputClosed {};

/// The one place that prints and knows of terminals. Results go to standard output, everything else to standard
/// error. Nothing is escaped here: who prints a name from a package escapes it first.
class Console {
public:
    Console();

    void setColor(ColorWhen when);
    void setQuiet(bool quiet) noexcept { quiet_ = quiet; }
    /// Makes notes JSON objects.
    void setJson(bool json) noexcept { json_ = json; }

    bool outIsTerminal() const noexcept { return outIsTerminal_; }
    bool errorIsTerminal() const noexcept { return errorIsTerminal_; }
    /// Columns of the terminal behind standard error, 80 when that is not known.
    unsigned errorWidth() const noexcept;

    /// Appends to standard output, buffered. Throws OutputClosed, or StreamError (`inputOutput`).
    void out(std::string_view bytes);
    /// Writes what is buffered. Throws as out(); a program that ends well has called it.
    void flush();

    /// One message line on standard error: "bex: TEXT". Lines after the first are indented.
    void error(std::string_view text);
    /// The same, left out when quiet; with --json {"schema":1,"note":TEXT}.
    void note(std::string_view text);
    /// Bytes for standard error as they are: progress, JSON objects. Failures are passed over, since there is
    /// nowhere left to report them.
    void rawError(std::string_view bytes) noexcept;

    /// Shows the text as the last line on standard error's terminal, in the place of the one before; "" takes it
    /// away, and so does everything that is printed next. The caller knows that there is a terminal.
    void status(std::string_view line) noexcept;

    /// The text in the style, as standard output (or standard error) shows it now.
    std::string styled(Style style, std::string_view text) const;
    std::string styledError(Style style, std::string_view text) const;

private:
    std::string buffer_;
    bool outIsTerminal_;
    bool errorIsTerminal_;
    bool outColor_ = false;
    bool errorColor_ = false;
    bool quiet_ = false;
    bool json_ = false;
    bool statusShown_ = false;
};

}  // namespace bex::tool
