#include "output/Failure.hpp"

#include <cstring>
#include <filesystem>

#include "arguments/LimitOption.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/Finding.hpp"
#include "output/Interrupt.hpp"
#include "output/Json.hpp"

namespace bex::tool {

using stream::ErrorKind;
using stream::nameOf;

namespace {

/// What the user can do about it, by code and kind alone: messages may be reworded.
std::string hintFor(const stream::StreamError& failure) {
    if (failure.code() == "field-missing") {
        return "fields come from TREE/DEBIAN/control, --control FILE, or options such as --name and --version";
    }
    if (dynamic_cast<const stream::FindingRefused*>(&failure) != nullptr) {
        return "--allow " + failure.code() + " accepts it";
    }
    if (failure.kind() == ErrorKind::limitExceeded) {
        return limitHint(failure.limit());
    }
    return "";
}

/// The order of the handlers matters: the most special class comes first, std::exception last.
Report reportOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const stream::StreamError& e) {
        return {statusOf(e.kind()), nameOf(e.kind()), e.what(), hintFor(e), e.code()};
    } catch (const UsageError& e) {
        return {ExitStatus::usage, "usage", e.what(), ""};
        // Of the C++ library's own message only the path and the system's reason are for people.
    } catch (const std::filesystem::filesystem_error& e) {
        return {ExitStatus::inputOutput, "input-output",
                stream::escapeForDisplay(e.path1().string()) + ": " + e.code().message(), ""};
        // Nothing may be allocated for this text beyond what a short string holds.
    } catch (const std::bad_alloc&) {
        return {ExitStatus::inputOutput, "input-output", "out of memory", ""};
    } catch (const std::exception& e) {
        return {ExitStatus::inputOutput, "input-output", e.what(), ""};
    }
}

}  // namespace

void print(const Report& report, Context& context) {
    // With --json an error is one object on one line of standard error, so that programs need not parse prose.
    if (!context.json) {
        context.console.error(report.message);
        if (!report.hint.empty()) {
            context.console.note("hint: " + report.hint);
        }
        return;
    }
    Json error = {{"kind", report.kind}};
    if (!report.code.empty()) {
        error["code"] = report.code;
    }
    error["status"] = static_cast<int>(report.status);
    putText(error, "message", report.message);
    if (!report.hint.empty()) {
        error["hint"] = report.hint;
    }
    const Json object = {{"schema", 1}, {"error", error}};
    context.console.rawError(jsonLine(object));
}

stream::StreamError systemError(const std::string& where, const std::string& action, int errorNumber) {
    stream::ErrorRecord record;
    record.kind = ErrorKind::inputOutput;
    record.code = nameOf(record.kind);
    record.package = where;
    record.reason = "can't " + action + ": " + std::strerror(errorNumber);
    record.systemError = errorNumber;
    return stream::StreamError(std::move(record));
}

/// Not an error: the question was answered. Without --json the answer is a note, which --quiet leaves out.
ExitStatus answerNo(const std::string& message, const std::string& hint, Context& context) {
    if (context.json) {
        print({ExitStatus::no, "no-match", message, hint}, context);
    } else {
        context.console.note(message);
        if (!hint.empty()) {
            context.console.note("hint: " + hint);
        }
    }
    return ExitStatus::no;
}

ExitStatus reportFailure(const std::exception_ptr& failure, Context& context) {
    Report report = reportOf(failure);
    // Whatever broke after the signal broke because of it: reads end, writes are cut short.
    if (interrupted()) {
        report = {ExitStatus::interrupted, nameOf(ErrorKind::cancelled), "interrupted", ""};
    }
    print(report, context);
    return report.status;
}

}  // namespace bex::tool
