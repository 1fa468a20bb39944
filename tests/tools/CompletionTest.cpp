// SPDX-License-Identifier: MIT
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Program.h"

namespace RynvelTest {
namespace {

/** The completions that the program offers for the last word of a line. */
std::string offered(Arguments words) {
    words.insert(words.begin(), "--complete");
    const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words, ".");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    std::istringstream lines(ending.output);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        text += (text.empty() ? "" : " ") + line;
    }
    return text;
}

TEST(Completion, OffersCommands) {
    EXPECT_EQ(offered({"wa"}), "watch wait");
    EXPECT_EQ(offered({""}), "list info ioctl read write dump fill watch show irq wait ping");
    EXPECT_EQ(offered({"--quiet", "wai"}), "wait");
    EXPECT_EQ(offered({"x"}), "");
}

TEST(Completion, OffersOptionsOfTheProgramAndOfTheCommand) {
    EXPECT_EQ(offered({"--t"}), "--type --timeout --trace");
    EXPECT_EQ(offered({"write", "map32", "0", "1", "--v"}), "--version --verify");
    EXPECT_EQ(offered({"wait", "map32", "-"}),
              "--version --help --remote --type --timeout --map --quiet --json --trace --each --count");
}

TEST(Completion, OffersDeviceNames) {
    EXPECT_EQ(offered({"read", "map"}), "map16 map32");
    EXPECT_EQ(offered({"--trace", "Rynvel.*=3", "watch", "--interval", "1s", "file"}), "file8 file16 file32");
    EXPECT_EQ(offered({"read", "map32", "m"}), "");
    EXPECT_EQ(offered({"watch", "map32", "0", "m"}), "");
    EXPECT_EQ(offered({"list", "m"}), "");
}

TEST(Completion, OffersValues) {
    EXPECT_EQ(offered({"dump", "--order", ""}), "host network");
    EXPECT_EQ(offered({"dump", "--order=n"}), "--order=network");
    EXPECT_EQ(offered({"--type", "Tyvon3"}), "Tyvon32");
    EXPECT_EQ(offered({"--type", "Remote"}), "");
    EXPECT_EQ(offered({"irq", "map32", ""}), "type enable disable raise");
    EXPECT_EQ(offered({"--remote", ""}), "");
}

TEST(Completion, ContinuesAfterAServer) {
    EXPECT_EQ(offered({"--remote", "127.0.0.1::9000", "irq", "map32", "e"}), "enable");
    EXPECT_EQ(offered({"--remote=127.0.0.1::9000", "rea"}), "read");
}

TEST(Completion, OffersNothingAfterAnUnknownCommand) {
    EXPECT_EQ(offered({"frobnicate", "map"}), "");
    EXPECT_EQ(offered({}), "");
}

/** An interactive shell on a terminal. */
class InteractiveShell {
public:
    InteractiveShell(const Arguments& command, const Arguments& environment) {
        const winsize size{24, 200, 0, 0};
        m_process = forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_process == 0) {
            start(command, environment);
        }
    }
    InteractiveShell(const InteractiveShell&) = delete;
    InteractiveShell& operator=(const InteractiveShell&) = delete;
    ~InteractiveShell() {
        close(m_terminal);
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }

    void type(const std::string& keys) const {
        EXPECT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /** Waits for a text. Returns the output from the text to the end of its line. */
    std::string awaitLine(const std::string& start) {
        const std::size_t begin = awaitText(start, 0);
        const std::size_t end = awaitText("\r", begin);
        const std::string line = m_shown.substr(begin, end - begin);
        m_shown.erase(0, end);
        return line;
    }

    void awaitPrompt() { m_shown.erase(0, awaitText(prompt, 0) + std::string(prompt).size()); }

    static constexpr const char* prompt = "ready> ";

private:
    [[noreturn]] static void start(const Arguments& command, const Arguments& environment) {
        for (const std::string& variable : environment) {
            putenv(strdup(variable.c_str()));
        }
        std::vector<char*> pointers;
        for (const std::string& word : command) {
            pointers.push_back(strdup(word.c_str()));
        }
        pointers.push_back(nullptr);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }

    std::size_t awaitText(const std::string& text, std::size_t from) {
        constexpr int timeoutMilliseconds = 60'000;
        std::size_t place = m_shown.find(text, from);
        for (; place == std::string::npos; place = m_shown.find(text, from)) {
            pollfd ready{m_terminal, POLLIN, 0};
            std::array<char, 512> bytes{};
            const ssize_t count =
                poll(&ready, 1, timeoutMilliseconds) == 1 ? read(m_terminal, bytes.data(), bytes.size()) : ssize_t{0};
            if (count <= 0) {
                ADD_FAILURE() << "'" << text << "' does not come behind:\n" << m_shown;
                m_shown += text;
            } else {
                m_shown.append(bytes.data(), static_cast<std::size_t>(count));
            }
        }
        return place;
    }

    pid_t m_process = -1;
    int m_terminal = -1;
    std::string m_shown;
};

/** Completion in a shell where rynvelctl is a function that prints its arguments. */
class CompletionInAShell : public testing::Test {
protected:
    CompletionInAShell() {
        m_folder.store("rynvelctl", "case $1 in --complete) " + std::string(RYNVEL_EMULATOR) +
                                        " " RYNVELCTL_FOR_TESTS
                                        " \"$@\" ;; *) printf 'given:'; printf ' <%s>' \"$@\"; echo ;; esac\n");
    }

    /** The setup that all shells share. */
    std::string common() const {
        return "PS1='" + std::string(InteractiveShell::prompt) + "'\nrynvelctl() { sh '" + m_folder.path() +
               "/rynvelctl' \"$@\"; }\n";
    }

    static void expectCompletions(InteractiveShell& shell) {
        const std::vector<std::pair<std::string, std::string>> lines{
            {"rea\t", "given: <read>"},
            {"read fil\t", "given: <read> <file>"},
            {"dump file1\t 0 1 --bur\t", "given: <dump> <file16> <0> <1> <--burst>"},
            {"--remote 127.0.0.1::9000 rea\t map1\t 0", "given: <--remote> <127.0.0.1::9000> <read> <map16> <0>"},
            {"--remote 127.0.0.1:9000 irq map32 en\t", "given: <--remote> <127.0.0.1:9000> <irq> <map32> <enable>"},
            {"dump --order=n\t file8 0 1", "given: <dump> <--order=network> <file8> <0> <1>"},
            {"--remote=h::9000 --type=Uio3\t irq", "given: <--remote=h::9000> <--type=Uio32> <irq>"}};
        for (const auto& [typed, given] : lines) {
            shell.awaitPrompt();
            shell.type("rynvelctl " + typed + '\n');
            EXPECT_EQ(shell.awaitLine("given:"), given) << typed;
        }
    }

    TestFolder m_folder;
};

TEST_F(CompletionInAShell, WorksInBash) {
    m_folder.store("setup", common() + "source '" RYNVELCTL_SOURCES "/rynvelctl.bash'\n");
    InteractiveShell shell({"bash", "--noprofile", "--rcfile", m_folder.path() + "/setup", "-i"},
                           {"TERM=dumb", "INPUTRC=/dev/null", "HISTFILE=/dev/null"});
    expectCompletions(shell);
}

TEST_F(CompletionInAShell, WorksInZsh) {
    if (std::system("zsh -c true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "zsh is not installed";
    }
    std::filesystem::copy(RYNVELCTL_SOURCES "/rynvelctl.zsh", m_folder.path() + "/_rynvelctl");
    m_folder.store(".zshrc",
                   common() + "fpath=('" + m_folder.path() + "' $fpath)\nautoload -Uz compinit\ncompinit -D -u\n");
    InteractiveShell shell({"zsh", "-d", "-i"}, {"TERM=dumb", "ZDOTDIR=" + m_folder.path()});
    expectCompletions(shell);
}

} // namespace
} // namespace RynvelTest
