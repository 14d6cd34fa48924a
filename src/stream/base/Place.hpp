#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "bex/stream/Finding.hpp"

namespace bex::stream {

/// Decides what follows from an error that the reader could read past.
class ErrorHandler {
public:
    virtual ~ErrorHandler() = default;

    /// The package is not fit to be used. Throws, or returns when the reader is to go on all the same.
    void refuse(const ErrorRecord& error);
    /// This reader goes on in any case: an error where another reader refuses the package or its contents are not
    /// what it promises, else a warning.
    void note(Severity severity, const ErrorRecord& error);

    /// Has `earlier` called before each report, for a check whose results come late: it reports them by then, so
    /// that reports keep the package's order. It may report by way of this handler, which calls it again. Empty:
    /// no more.
    void reportFirst(std::function<void()> earlier) { earlier_ = std::move(earlier); }

private:
    virtual void onRefuse(const ErrorRecord& error) = 0;
    virtual void onNote(Severity severity, const ErrorRecord& error) = 0;

    std::function<void()> earlier_;
};

/// Where in a package the work is, and how errors about this place are reported. A value; copies share the
/// handler, which must outlive them.
class Place {
public:
    /// A place whose errors are thrown and whose notes are dropped. `package` is its name as it came.
    Place(std::string package) : package_(std::move(package)) {}  // not explicit: a name says where it is
    Place(const char* package) : package_(package) {}
    Place(std::string package, ErrorHandler& handler) : package_(std::move(package)), handler_(&handler) {}

    /// The member of that name in this package.
    Place in(std::string member) const;
    /// The entry of that path, as stored, in this member.
    Place at(std::string entry) const;
    /// Makes this the place of that entry, in the same member.
    void goTo(std::string_view entry) { entry_ = entry; }

    const std::string& package() const noexcept { return package_; }
    /// Null: none.
    ErrorHandler* handler() const noexcept { return handler_; }

    /// The error about this place, for callers that throw it themselves or add to it.
    ErrorRecord record(ErrorKind kind, std::string code, std::string reason) const;
    StreamError error(ErrorKind kind, std::string code, std::string reason) const {
        return StreamError(record(kind, std::move(code), std::move(reason)));
    }

    /// Throws the error, whatever the handler is.
    [[noreturn]] void fail(ErrorKind kind, std::string code, std::string reason) const;
    /// The same with codeOf() the kind.
    [[noreturn]] void fail(ErrorKind kind, std::string reason) const;
    /// Throws `limitExceeded` with the code "limit"; `limit` is a field of Limits.
    [[noreturn]] void failLimit(std::string limit, std::string reason) const;
    /// Throws systemFailure().
    [[noreturn]] void failSystem(const std::string& action, int errorNumber) const;
    /// Hands the error to the handler; returns where the handler lets the reader go on.
    void refuse(ErrorKind kind, std::string code, std::string reason) const;
    /// Hands a remark to the handler, which lets the reader go on; without a handler it is dropped.
    void note(std::string code, std::string reason, Severity severity = Severity::warning) const;

private:
    std::string package_;
    std::string member_;
    std::string entry_;
    ErrorHandler* handler_ = nullptr;
};

/// The code of an error that has none of its own: the kind's name, but "limit" for one of limitExceeded.
const char* codeOf(ErrorKind kind) noexcept;

/// An `inputOutput` error "WHERE: can't ACTION: REASON", with the system's text for the error number.
StreamError systemFailure(const Place& where, const std::string& action, int errorNumber);

/// An `invalidInput` error "WHERE: REASON". `where` may be "".
StreamError invalidInput(const Place& where, std::string reason);

/// The text escaped and in double quotes, for messages.
std::string quotedName(std::string_view text);

/// The same, but cut to some 60 bytes where it is longer: for values, which may be of any length.
std::string quoted(std::string_view text);

}  // namespace bex::stream
