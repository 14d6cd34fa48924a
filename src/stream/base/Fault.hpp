#pragma once

#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::stream {

/// One thing that is wrong with a package.
struct Fault {
    ErrorKind kind = ErrorKind::damaged;
    std::string code;    ///< as docs/findings.md lists it
    std::string member;  ///< of the ar archive; "" when none is meant
    std::string path;    ///< of the entry, as stored; "" when none is meant
    std::string reason;  ///< one sentence, names escaped
};

/// A fault that ends the reading: a StreamError for callers, with the parts that verify() lists.
class PackageFault : public StreamError {
public:
    PackageFault(const std::string& package, Fault fault);

    const Fault& fault() const noexcept { return fault_; }

private:
    Fault fault_;
};

/// Decides what follows from a fault that the reader could read past.
class FaultHandler {
public:
    virtual ~FaultHandler() = default;

    /// The package is not fit to be used. Throws, or returns when the reader is to go on all the same.
    virtual void refuse(const std::string& package, const Fault& fault) = 0;
    /// Other readers may see this differently; this one can live with it.
    virtual void note(const std::string& package, const Fault& fault) = 0;
};

/// For a reader that trusts nothing: the first fault is thrown as PackageFault, notes are dropped.
class ThrowingFaults final : public FaultHandler {
public:
    void refuse(const std::string& package, const Fault& fault) override;
    void note(const std::string& package, const Fault& fault) override;
};

/// Reports faults in one place of a package. Copies share the handler, which must outlive them.
class Faults {
public:
    /// `package` is the package's name as it came.
    Faults(std::string package, FaultHandler& handler) : package_(std::move(package)), handler_(&handler) {}

    /// The same for what is wrong in the member.
    Faults in(const std::string& member) const;

    /// `package: member "name"`, or the package alone: how messages about this place begin, escaped.
    std::string place() const;

    [[noreturn]] void fail(ErrorKind kind, const char* code, const std::string& reason,
                           const std::string& path = {}) const;
    void refuse(ErrorKind kind, const char* code, const std::string& reason, const std::string& path = {}) const;
    void note(const char* code, const std::string& reason, const std::string& path = {}) const;

private:
    std::string package_;
    std::string member_;
    FaultHandler* handler_;
};

/// The text escaped and in double quotes, for messages.
std::string quotedName(const std::string& text);

}  // namespace bex::stream
