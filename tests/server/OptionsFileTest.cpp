// SPDX-License-Identifier: MIT
#include "OptionsFile.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "Options.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::AuditOptions;
using Rynveld::Options;
using Words = std::vector<std::string>;

/** A file with options, in its own working folder. */
class OptionsFile : public testing::Test {
protected:
    static void write(const std::string& contents) { std::ofstream("o") << contents; }

    /** Returns the lines of a file as NUMBER:WORD. */
    static Words linesOf(const std::string& contents) {
        write(contents);
        Words lines;
        for (const auto& line : Rynveld::readOptionsFile("o")) {
            lines.push_back(std::to_string(line.number) + ':' + line.word);
        }
        return lines;
    }

    static Options parse(const Words& words = {}) {
        std::vector<const char*> pointers = {"rynveld", "--config", "o"};
        for (const auto& word : words) {
            pointers.push_back(word.c_str());
        }
        return Rynveld::parseOptions(static_cast<int>(pointers.size()), pointers.data());
    }

    static std::string problemIn(const std::function<void()>& function) {
        try {
            function();
        } catch (const std::invalid_argument& problem) {
            return problem.what();
        }
        return "";
    }
    static std::string problemOf(const std::string& contents, const Words& words = {}) {
        write(contents);
        return problemIn([&words] { parse(words); });
    }
    /**
     * Returns the error message for a reload of a file with these contents, or an empty text. `running` are the options
     * before the reload.
     */
    static std::string problemOfReload(const Options& running, const std::string& contents) {
        write(contents);
        return problemIn([&running] { Rynveld::reloadedOptions(running); });
    }

private:
    const TemporaryWorkingFolder m_folder;
};

TEST_F(OptionsFile, HasOneOptionPerLine) {
    EXPECT_EQ(linesOf("# comment\n\n device  uio.32 \t# first\n--device=seek.8\r\n--device map.16\nsimulate\n"
                      "audit /a b#c\nread-only=\nmap =x\n--simulate"),
              (Words{"3:--device=uio.32", "4:--device=seek.8", "5:--device=map.16", "6:--simulate", "7:--audit=/a b#c",
                     "8:--read-only=", "9:--map==x", "10:--simulate"}));
    EXPECT_EQ(linesOf(""), Words{});
}

TEST_F(OptionsFile, RefusesLinesThatAreNotOptionsOfAFile) {
    const std::string rule = "is not an option (write NAME VALUE, for example device rtc0)";
    EXPECT_EQ(problemOf("simulate\n-x\n"), "o:2: '-x' " + rule);
    EXPECT_EQ(problemOf("--\n"), "o:1: '--' " + rule);
    EXPECT_EQ(problemOf("=x\n"), "o:1: '=x' " + rule);
    EXPECT_EQ(problemOf("---x\n"), "o:1: '---x' " + rule);
    for (const std::string name : {"help", "version", "config"}) {
        EXPECT_EQ(problemOf("\n" + name + " o\n"), "o:2: --" + name + ": the option is only for the command line");
    }
}

TEST_F(OptionsFile, MustBeASmallReadableFile) {
    EXPECT_EQ(problemIn([] { parse(); }), "o: cannot read the options: No such file or directory");
    EXPECT_EQ(problemOf(std::string(70000, '#')), "o: the file is too large (at most 64 KiB)");
    std::filesystem::remove("o");
    ASSERT_EQ(::mkfifo("o", 0600), 0);
    EXPECT_EQ(problemIn([] { parse(); }), "o: the file is a pipe (give a regular file)");
    std::filesystem::remove("o");
    std::filesystem::create_directory("o");
    EXPECT_EQ(problemIn([] { parse(); }), "o: cannot read the options: Is a directory");
}

TEST_F(OptionsFile, AddsToTheCommandLine) {
    write("device uio.32\nread-only\nread-only seek.8\nmax-connections 7\naudit a\naudit-old\naudit-on-error stop\n");
    const Options options = parse({"--device", "seek.8", "--read-only=uio.32"});
    EXPECT_EQ(options.policy.devices, (std::set<std::string>{"seek.8", "uio.32"}));
    EXPECT_EQ(options.policy.readOnlyDevices, (std::set<std::string>{"seek.8", "uio.32"}));
    EXPECT_TRUE(options.policy.readOnly);
    EXPECT_EQ(options.maxConnections, 7U);
    EXPECT_EQ(options.audit.target, "a");
    EXPECT_TRUE(options.audit.withOldValues);
    EXPECT_EQ(options.audit.onError, AuditOptions::OnError::Stop);
}

TEST_F(OptionsFile, NamesTheWrongLine) {
    EXPECT_EQ(problemOf("device uio.32\ndevice nothing\n"),
              "o:2: --device: unknown device 'nothing' ('rynvelctl list' shows all names)");
    EXPECT_EQ(problemOf("simulate\nbogus 1\n"), "o:2: unknown option '--bogus=1' (--help lists the options)");
    EXPECT_EQ(problemOf("listen 127.0.0.1\n\nlisten 127.0.0.2\n"),
              "o:3: --listen: the option has several values (give one)");
    EXPECT_EQ(problemOf("listen 127.0.0.1\n", {"--listen", "127.0.0.2"}),
              "o:1: --listen: the option has several values (give one)");
    EXPECT_EQ(problemOf("interrupt-every uio.32=1s\nsimulate\nallow x\nallow x\n"),
              "o:3: --allow: 'x' is not an IPv4 network (for example 10.0.0.0/8)");
    EXPECT_EQ(problemOf("device uio.32\nfault error\n"), "o:2: --fault: the option requires --simulate");
    EXPECT_EQ(problemOf("audit-old\n"), "o:1: --audit-old: the option requires --audit");
}

TEST_F(OptionsFile, IsNotNamedInErrorsOfTheCommandLine) {
    EXPECT_EQ(problemOf("device uio.32\n", {"--allow", "x"}),
              "--allow: 'x' is not an IPv4 network (for example 10.0.0.0/8)");
    EXPECT_EQ(problemOf("bogus\n", {"--nothing"}), "unknown option '--nothing' (--help lists the options)");
}

TEST_F(OptionsFile, CanChangeTheRulesForClients) {
    write("simulate\naudit a\n");
    const Options running = parse({"--device", "uio.32"});
    write("audit a\nsimulate\nread-only uio.32\nallow-ioctl 1\nallow 10.0.0.0/8\nidle-timeout 1s\ndevice seek.8\n");
    const Options reloaded = Rynveld::reloadedOptions(running);
    EXPECT_EQ(reloaded.policy.devices, (std::set<std::string>{"seek.8", "uio.32"}));
    EXPECT_EQ(reloaded.policy.readOnlyDevices, std::set<std::string>{"uio.32"});
    EXPECT_EQ(reloaded.policy.ioctls, std::set<std::uint32_t>{1});
    EXPECT_EQ(reloaded.allowed.size(), 1U);
    EXPECT_EQ(reloaded.idleTimeout, std::chrono::seconds(1));
}

TEST_F(OptionsFile, CannotChangeWhatNeedsARestart) {
    write("simulate\naudit a\n");
    const Options running = parse();
    const std::string rule = ": the option cannot change while the server runs (restart the server)";
    const std::string base = "simulate\naudit a\n";
    EXPECT_EQ(problemOfReload(running, base), "");
    EXPECT_EQ(problemOfReload(running, base + "device uio.32\nlisten 0.0.0.0\n"), "o:4: --listen" + rule);
    EXPECT_EQ(problemOfReload(running, base + "listen unix:/a\nsocket-mode 660\n").substr(0, 12), "o:3: --liste");
    EXPECT_EQ(problemOfReload(running, base + "interrupt-every uio.32=1s\n"), "o:3: --interrupt-every" + rule);
    EXPECT_EQ(problemOfReload(running, base + "fault error\n"), "o:3: --fault" + rule);
    EXPECT_EQ(problemOfReload(running, base + "audit-old\n"), "o:3: --audit-old" + rule);
    EXPECT_EQ(problemOfReload(running, base + "audit-on-error stop\n"), "o:3: --audit-on-error" + rule);
    EXPECT_EQ(problemOfReload(running, "audit b\nsimulate\n"), "o:1: --audit" + rule);
    EXPECT_EQ(problemOfReload(running, "audit a\n"), "o: --simulate" + rule);
}

TEST_F(OptionsFile, AcceptsOnlyKnownReactionsOfAnAudit) {
    EXPECT_EQ(problemOf("audit a\naudit-on-error ignore\n"),
              "o:2: --audit-on-error: 'ignore' is not a reaction (use refuse-writes, stop or continue)");
    EXPECT_EQ(problemOf("audit-on-error stop\n"), "o:1: --audit-on-error: the option requires --audit");
}

} // namespace
} // namespace RynvelTest
