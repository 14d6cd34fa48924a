#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "buildfile/signing/SecretKeys.hpp"
#include "signing/Process.hpp"

namespace bex::test {
namespace {

TEST(FedProgram, GivesInputAndSecretAndReportsHowTheProgramEnded) {
    const std::string large(1 << 20, 'x');
    const struct {
        std::vector<std::string> command;
        std::string input;
        std::string output;
        std::string failure;
    } cases[] = {
        {{"cat"}, large, large, ""},
        {{"sh", "-c", "cat <&3"}, "", "a secret", ""},
        {{"true"}, "", "", ""},
        {{"true"}, large, "", "true: did not read all of its input"},
        {{"sh", "-c", "echo 'no \\033' >&2; exit 3"}, large, "", "sh: failed: no \\x1b"},
        {{"sh", "-c", "kill $$"}, "", "", "sh: failed: "},
        {{"/nonexistent/gpg"}, "", "", "/nonexistent/gpg: can't run it: No such file or directory"},
    };
    for (const auto& c : cases) {
        std::string output;
        EXPECT_EQ(failureOf([&] {
                      signing::FedProgram program(c.command, "a secret", std::chrono::seconds(100));
                      program.write(c.input);
                      output = program.finish();
                  }),
                  c.failure);
        EXPECT_TRUE(output == c.output) << c.command.back();
    }
    EXPECT_EQ(failureOf([&] { signing::FedProgram({"true"}, large, std::chrono::seconds(100)); }),
              "true: its passphrase has more than 4096 bytes");
}

/// A line of gpg's listing for a key, and the one of its fingerprint.
std::string keyLine(const std::string& record, const std::string& validity, const std::string& abilities,
                    const std::string& token, const std::string& fingerprint) {
    return record + ":" + validity + ":255:22:0:1:2:::::" + abilities + ":::" + token +
           ":::23::0:\nfpr:::::::::" + fingerprint + ":\ngrp:::::::::0:\nuid:u::::1::0::Ann Lee::::::::::0:\n";
}

TEST(SecretKeys, ChoosesTheFirstSubkeyThatSignsOrTheNamedKey) {
    const std::string primary = keyLine("sec", "u", "scESC", "+", "00AA");
    const std::string sealed = keyLine("sec", "u", "scESC", "#", "00AB");
    const std::string encrypts = keyLine("ssb", "u", "e", "+", "00EE");
    const std::string expired = keyLine("ssb", "e", "s", "+", "00EF");
    const std::string first = keyLine("ssb", "u", "s", "+", "0011");
    const std::string second = keyLine("ssb", "u", "s", "+", "0022");
    const struct {
        std::string listing;
        const char* id;
        const char* key;
        const char* failure;
    } cases[] = {
        {primary, "", "00AA", ""},
        {primary + encrypts, "", "00AA", ""},
        {primary + expired + first + second, "", "0011", ""},
        {sealed + encrypts + second, "", "0022", ""},
        {primary + first + second, "22", "0022", ""},
        {primary + first, "AA", "00AA", ""},
        {primary + keyLine("sec", "u", "scSC", "+", "00BB"), "BB", "00BB", ""},
        {"", "", "", "it holds no secret OpenPGP key"},
        {"tru::1:2:0:3:1:5\n", "", "", "it holds no secret OpenPGP key"},
        {sealed + encrypts, "", "", "it holds no key that can sign"},
        {primary + expired, "EF", "", "its key EF can't sign"},
        {primary, "CC", "", "it holds no secret key CC"},
        {primary + sealed, "", "", "it holds 2 keys; deb.signature.key_id must name one"},
        {"sec\nfpr:\n", "", "", "it holds no key that can sign"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listing);
        std::string key;
        EXPECT_EQ(failureOf([&] { key = buildfile::signingKeyOf(c.listing, c.id); }), c.failure);
        EXPECT_EQ(key, c.key);
    }
}

}  // namespace
}  // namespace bex::test
