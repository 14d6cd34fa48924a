#include <string_view>

#include "bex/stream/Sink.hpp"
#include "verbs/Input.hpp"
#include "verbs/dpkg/Actions.hpp"

namespace bex::tool {

namespace {

/// Standard output as a sink.
class ConsoleSink final : public stream::Sink {
public:
    explicit ConsoleSink(Console& console) : console_(console) {}

    void write(const char* data, std::size_t size) override { console_.out({data, size}); }

private:
    Console& console_;
};

}  // namespace

ExitStatus dpkgControlTar(const DpkgRequest& request, Context& context) {
    ConsoleSink out(context.console);
    openPackage(request.arguments.front(), readOptions(context)).copyControlTar(out);
    return ExitStatus::done;
}

ExitStatus dpkgPayloadTar(const DpkgRequest& request, Context& context) {
    ConsoleSink out(context.console);
    openPackage(request.arguments.front(), readOptions(context)).copyPayloadTar(out);
    return ExitStatus::done;
}

}  // namespace bex::tool
