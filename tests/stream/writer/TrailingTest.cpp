#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "bex/stream/Verify.hpp"
#include "stream/StringSink.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::TrailingMember;

/// Makes the text of what it was given, or throws.
class Copy : public stream::MemberMaker {
public:
    explicit Copy(std::string failure) : failure_(std::move(failure)) {}
    void write(const char* data, std::size_t size) override { text_.append(data, size); }
    std::string finish() override {
        if (!failure_.empty()) {
            throw std::runtime_error(failure_);
        }
        return text_;
    }

private:
    std::string text_;
    std::string failure_;
};

/// Makes a line for each member: its name, the length that was announced, and the one that came.
class Lengths : public stream::MemberMaker {
public:
    void beginMember(const std::string& name, std::uint64_t bytes) override {
        end();
        lines_ += name + " " + std::to_string(bytes);
    }
    void write(const char* /*data*/, std::size_t size) override { written_ += size; }
    std::string finish() override {
        end();
        return lines_;
    }

private:
    void end() {
        if (!lines_.empty()) {
            lines_ += " " + std::to_string(std::exchange(written_, 0)) + "\n";
        }
    }

    std::string lines_;
    std::uint64_t written_ = 0;
};

TrailingMember copyCalled(const std::string& name, const std::string& failure = "") {
    return {name, [failure] { return std::make_unique<Copy>(failure); }};
}

class Trailing : public testing::Test {
protected:
    Trailing() : writer_(soundWriter()) {
        writer_.addBytes(std::string(700001, 'x'), "x");
        options_.compression = stream::Compression::none;
    }

    TemporaryDirectory folder_;
    stream::PackageWriter writer_;
    stream::WriteOptions options_ = datedOptions();
};

TEST_F(Trailing, CoversTheContentsOfTheThreeMembersInFilesAndSinks) {
    const std::string bare = written(writer_, folder_, options_);
    options_.trailing = {
        copyCalled("_gpgorigin"), copyCalled("_second"), {"_lengths", [] { return std::make_unique<Lengths>(); }}};
    std::uint64_t last = 0;
    options_.progress = [&last](const stream::Progress& progress) {
        last = progress.bytesDone;
        return true;
    };
    const std::string signedBytes = written(writer_, folder_, options_);
    EXPECT_EQ(last, 700001U);
    EXPECT_TRUE(signedBytes.substr(0, bare.size()) == bare);
    options_.check = true;
    const std::string path = folder_ / "x.bex";
    EXPECT_EQ(writer_.write(path, options_).packageBytes, signedBytes.size());
    EXPECT_TRUE(folder_.read("x.bex") == signedBytes);
    EXPECT_EQ(
        outputOf(
            "cd " + folder_.path().string() +
            " && ar t x.bex && for name in debian-binary control.tar data.tar; do ar p x.bex $name; done >joined"
            " && for name in _gpgorigin _second; do ar p x.bex $name | cmp - joined && echo same; done"
            " && for name in debian-binary control.tar data.tar; do length=$(ar p x.bex $name | wc -c);"
            " echo $name $length $length; done >lengths && ar p x.bex _lengths | cmp - lengths && echo same"
            " && dpkg-deb --field x.bex Package"),
        "debian-binary\ncontrol.tar\ndata.tar\n_gpgorigin\n_second\n_lengths\nsame\nsame\nsame\ntool\n");
    EXPECT_TRUE(stream::verify(path).empty());
}

TEST_F(Trailing, LeavesNothingWhenAMakerFails) {
    folder_.write("out/old.bex", "old");
    const std::string old = folder_ / "out/old.bex";
    options_.trailing = {copyCalled("_first"), copyCalled("_second", "no key")};
    EXPECT_EQ(failureOf([&] { writer_.write(old, options_); }), "no key");
    EXPECT_EQ(folder_.read("out/old.bex"), "old");
    EXPECT_THAT(namesBelow(folder_ / "out"), testing::ElementsAre("old.bex"));
    StringSink sink;
    EXPECT_EQ(failureOf([&] { writer_.write(sink, folder_.path().string(), options_); }), "no key");
    EXPECT_EQ(sink.bytes, "") << "what came before the member is a whole package";
    // Before the payload is read, which would fail.
    writer_.addContents(
        5, [](std::uint64_t, char*, std::size_t) { return std::size_t{0}; }, "short");
    options_.trailing = {
        {"_gpgorigin", []() -> std::unique_ptr<stream::MemberMaker> { throw std::runtime_error("no program"); }}};
    EXPECT_EQ(failureOf([&] { writer_.write(old, options_); }), "no program");
    options_.dryRun = true;
    EXPECT_EQ(failureOf([&] { writer_.write(old, options_); }), "") << "a dry run makes no member";
}

TEST_F(Trailing, RefusesNamesThatReadersWouldNotPassOver) {
    const struct {
        std::vector<std::string> names;
        const char* failure;
    } cases[] = {
        {{"_0123456789-._Az"}, ""},
        {{"_0123456789-._Azy"}, "member \"_0123456789-._Azy\": a trailing member's name is"},
        {{"gpgorigin"}, "member \"gpgorigin\": a trailing member's name is"},
        {{"_"}, "member \"_\": a trailing member's name is"},
        {{"_a/"}, "member \"_a/\": a trailing member's name is"},
        {{"_a", "_b", "_a"}, "member \"_a\": is given twice"},
    };
    for (const auto& c : cases) {
        options_.trailing.clear();
        for (const auto& name : c.names) {
            options_.trailing.push_back(copyCalled(name));
        }
        EXPECT_THAT(failureOf([&] { written(writer_, folder_, options_); }), testing::StartsWith(c.failure))
            << c.names.front();
    }
}

}  // namespace
}  // namespace bex::test
