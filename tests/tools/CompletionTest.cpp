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

#include "DescribedDevice.h"
#include "Program.h"

namespace RynvelTest {
namespace {

/** Returns the completions that the program offers for the last word of a line, with blanks between them. */
std::string offered(Arguments words, const std::string& folder = ".") {
    words.insert(words.begin(), "--complete");
    const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words, folder);
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
    EXPECT_EQ(offered({""}),
              "list info ioctl read write set clear toggle dump fill load poll watch show save diff restore "
              "describe maps irq wait ping sleep expect run");
    EXPECT_EQ(offered({"--quiet", "wai"}), "wait");
    EXPECT_EQ(offered({"x"}), "");
}

TEST(Completion, OffersOptionsOfTheProgramAndOfTheCommand) {
    EXPECT_EQ(offered({"--t"}), "--type --timeout --trace");
    EXPECT_EQ(offered({"write", "map32", "0", "1", "--v"}), "--version --verify");
    EXPECT_EQ(offered({"wait", "map32", "-"}),
              "--version --help --remote --local --type --timeout --map --quiet --json --base --color --trace --each "
              "--count --format");
}

TEST(Completion, OffersDeviceNames) {
    EXPECT_EQ(offered({"read", "map"}), "map16 map32");
    EXPECT_EQ(offered({"--trace", "Rynvel.*=3", "watch", "--interval", "1s", "file"}), "file8 file16 file32");
    EXPECT_EQ(offered({"diff", "map"}), "map16 map32");
    EXPECT_EQ(offered({"read", "map32", "m"}), "");
    EXPECT_EQ(offered({"watch", "map32", "0", "m"}), "");
    EXPECT_EQ(offered({"list", "m"}), "");
}

TEST(Completion, OffersNothingForAWordWhoseDeviceIsMissing) {
    EXPECT_EQ(offered({"--local", "read", "--local", "no such device", "x"}), "");
}

TEST(Completion, OffersValues) {
    EXPECT_EQ(offered({"dump", "--order", ""}), "host network");
    EXPECT_EQ(offered({"dump", "--order=n"}), "--order=network");
    EXPECT_EQ(offered({"--color", ""}), "auto always never");
    EXPECT_EQ(offered({"--type", "Tyvon3"}), "Tyvon32");
    EXPECT_EQ(offered({"--base", ""}), "2 10 16");
    EXPECT_EQ(offered({"--type", "Remote"}), "");
    EXPECT_EQ(offered({"irq", "map32", ""}), "type enable disable raise");
    EXPECT_EQ(offered({"--remote", ""}), "");
}

TEST(Completion, OffersCommandsAfterTheOptionRemote) {
    EXPECT_EQ(offered({"--remote", "127.0.0.1::9000", "irq", "map32", "e"}), "enable");
    EXPECT_EQ(offered({"--remote=127.0.0.1::9000", "rea"}), "read");
    EXPECT_EQ(offered({"-r", "127.0.0.1::9000", "-t", "1s", "-q", "rea"}), "read");
}

TEST(Completion, OffersNothingAfterAnUnknownCommand) {
    EXPECT_EQ(offered({"frobnicate", "map"}), "");
    EXPECT_EQ(offered({}), "");
}

TEST(Completion, OffersCommandsInACommand) {
    EXPECT_EQ(offered({"maps", ""}), "list check header wireshark");
    EXPECT_EQ(offered({"--quiet", "maps", "--map", "m.svd", "he"}), "header");
    EXPECT_EQ(offered({"maps", "header", "map"}), "map16 map32");
    EXPECT_EQ(offered({"maps", "list", "m"}), "");
    EXPECT_EQ(offered({"maps", "nothing", ""}), "");
}

TEST(Completion, OffersFiles) {
    const TestFolder folder;
    folder.store("a.svd", "");
    folder.store(".hidden", "");
    std::filesystem::create_directory(folder.path() + "/maps");
    folder.store("maps/b.svd", "");
    EXPECT_EQ(offered({"maps", "check", ""}, folder.path()), "a.svd maps/");
    EXPECT_EQ(offered({"maps", "check", "a.svd", "ma"}, folder.path()), "maps/");
    EXPECT_EQ(offered({"--map", "maps/"}, folder.path()), "maps/b.svd");
    EXPECT_EQ(offered({"-m", "maps/"}, folder.path()), "maps/b.svd");
    EXPECT_EQ(offered({"-qmmaps/"}, folder.path()), "-qmmaps/b.svd");
    EXPECT_EQ(offered({"-x", "maps/"}, folder.path()), "");
    EXPECT_EQ(offered({"--map=maps/b"}, folder.path()), "--map=maps/b.svd");
    EXPECT_EQ(offered({"--map", ".h"}, folder.path()), ".hidden");
    EXPECT_EQ(offered({"run", "--keep-going", "a"}, folder.path()), "a.svd");
    EXPECT_EQ(offered({"load", "map32", "0", "a"}, folder.path()), "a.svd");
    EXPECT_EQ(offered({"--map", "nowhere/"}, folder.path()), "");
}

/** Completion with the map of a device. */
class MapCompletion : public testing::Test {
protected:
    MapCompletion() { m_folder.store("m.svd", timerMap()); }

    /** Returns the completions of a command line. The last word "-" represents an empty word. */
    std::string offeredFor(const std::string& line) const {
        Arguments arguments = words("--map m.svd " + line);
        if (arguments.back() == "-") {
            arguments.back().clear();
        }
        return offered(arguments, m_folder.path());
    }

    TestFolder m_folder;
};

TEST_F(MapCompletion, OffersRegisters) {
    EXPECT_EQ(offeredFor("describe map32 -"), "CTRL STATUS ACK WIDE LEVEL0 LEVEL1 CH[0].DATAIN CH[0].DATAOUT "
                                              "CH[0].LIMIT CH[1].DATAIN CH[1].DATAOUT CH[1].LIMIT");
    EXPECT_EQ(offeredFor("describe map32 CH[1].DATA"), "CH[1].DATAIN CH[1].DATAOUT");
    EXPECT_EQ(offeredFor("describe file8 -"), "");
    EXPECT_EQ(offeredFor("describe map32 CTRL -"), "");
    EXPECT_EQ(offeredFor("watch map32 CTRL LE"), "LEVEL0 LEVEL1");
}

TEST_F(MapCompletion, OffersRegistersThatFitTheCommand) {
    EXPECT_EQ(offeredFor("read map32 A"), "");
    EXPECT_EQ(offeredFor("write map32 A"), "ACK");
    EXPECT_EQ(offeredFor("read map32 S"), "STATUS");
    EXPECT_EQ(offeredFor("fill map32 S"), "");
    EXPECT_EQ(offeredFor("load map32 A"), "ACK");
    EXPECT_EQ(offeredFor("load map32 S"), "");
}

TEST_F(MapCompletion, OffersFieldsAfterADot) {
    EXPECT_EQ(offeredFor("read map32 CTRL."), "CTRL.RUN CTRL.MODE CTRL.GAIN CTRL.PINA CTRL.PINB");
    EXPECT_EQ(offeredFor("write map32 CTRL.M"), "CTRL.MODE");
    EXPECT_EQ(offeredFor("read map32 NOTHING."), "");
    EXPECT_EQ(offeredFor("watch map32 CTRL.M"), "CTRL.MODE");
    EXPECT_EQ(offeredFor("describe map32 CTRL.M"), "CTRL.MODE");
}

TEST_F(MapCompletion, OffersNoFieldsToACommandForWholeRegisters) {
    for (const std::string command : {"show", "dump", "fill", "load"}) {
        EXPECT_EQ(offeredFor(command + " map32 CTRL."), "") << command;
        EXPECT_EQ(offeredFor(command + " map32 CT"), "CTRL") << command;
        EXPECT_EQ(offeredFor(command + " map32 CH[1].DATAO"), "CH[1].DATAOUT") << command;
    }
}

TEST_F(MapCompletion, OffersValues) {
    EXPECT_EQ(offeredFor("write map32 CTRL.MODE -"), "slow fast");
    EXPECT_EQ(offeredFor("write map32 CTRL -"), "RUN= MODE= GAIN= PINA= PINB=");
    EXPECT_EQ(offeredFor("write map32 CTRL MODE="), "MODE=slow MODE=fast");
    EXPECT_EQ(offeredFor("write map32 CTRL MODE=f"), "MODE=fast");
    EXPECT_EQ(offeredFor("write map32 CTRL.MODE=f"), "CTRL.MODE=fast");
    EXPECT_EQ(offeredFor("write map32 CTRL.MODE=fast LEV"), "LEVEL0= LEVEL1=");
    EXPECT_EQ(offeredFor("write map32 LEVEL0=1 CTRL.M"), "CTRL.MODE=");
    EXPECT_EQ(offeredFor("write map32 LEVEL0=1 CTRL.MODE=s"), "CTRL.MODE=slow");
    EXPECT_EQ(offeredFor("expect map32 CTRL.M"), "CTRL.MODE");
    EXPECT_EQ(offeredFor("expect map32 CTRL.MODE -"), "slow fast unknown");
    EXPECT_EQ(offeredFor("write map32 CTRL GAIN="), "");
    EXPECT_EQ(offeredFor("write map32 STATUS -"), "");
    EXPECT_EQ(offeredFor("write map32 0x10 -"), "");
    EXPECT_EQ(offeredFor("fill map32 CTRL 1 -"), "");
}

TEST_F(MapCompletion, OffersValuesToWaitFor) {
    EXPECT_EQ(offeredFor("poll map32 CTRL.MODE -"), "slow fast unknown");
    EXPECT_EQ(offeredFor("poll map32 CTRL.R"), "CTRL.RUN");
    EXPECT_EQ(offeredFor("poll map32 A"), "");
    EXPECT_EQ(offeredFor("poll map32 CTRL -"), "");
    EXPECT_EQ(offeredFor("poll map32 0x10 -"), "");
}

TEST_F(MapCompletion, OffersListsOfFields) {
    for (const std::string command : {"set", "clear", "toggle"}) {
        EXPECT_EQ(offeredFor(command + " map32 CTRL -"), "RUN MODE GAIN PINA PINB");
        EXPECT_EQ(offeredFor(command + " map32 CTRL 31:30,RUN,P"), "31:30,RUN,PINA 31:30,RUN,PINB");
        EXPECT_EQ(offeredFor(command + " map32 CTRL MODE,RUN,"), "MODE,RUN,GAIN MODE,RUN,PINA MODE,RUN,PINB");
        EXPECT_EQ(offeredFor(command + " map32 S"), "");
        EXPECT_EQ(offeredFor(command + " map32 CTRL."), "");
        EXPECT_EQ(offeredFor(command + " map32 0x10 -"), "");
    }
}

TEST_F(MapCompletion, UsesTheMapsOfTheCommandLine) {
    EXPECT_EQ(offered({"--map=m.svd", "read", "map32", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"read", "map32", "--map", "m.svd", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"-m", "m.svd", "read", "map32", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"-mm.svd", "read", "map32", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"-qm", "m.svd", "read", "map32", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"-qmm.svd", "read", "map32", "ST"}, m_folder.path()), "STATUS");
    EXPECT_EQ(offered({"-m=m.svd", "read", "map32", "ST"}, m_folder.path()), "");
    EXPECT_EQ(offered({"read", "map32", "ST"}, m_folder.path()), "");
    EXPECT_EQ(offered({"--map", "m.svd", "--remote", "h", "read", "map32", "ST"}, m_folder.path()), "STATUS");
}

TEST_F(MapCompletion, IsSilentAboutMapsThatCannotBeUsed) {
    m_folder.store("broken.svd", "<device>");
    EXPECT_EQ(offered({"--map", "broken.svd", "read", "map32", ""}, m_folder.path()), "");
    EXPECT_EQ(offered({"--map", "nowhere.svd", "read", "map32", ""}, m_folder.path()), "");
    EXPECT_EQ(offered({"--map", "broken.svd", "read", "map"}, m_folder.path()), "map16 map32");
}

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
        std::size_t position = m_shown.find(text, from);
        for (; position == std::string::npos; position = m_shown.find(text, from)) {
            pollfd ready{m_terminal, POLLIN, 0};
            std::array<char, 512> bytes{};
            const ssize_t count =
                poll(&ready, 1, timeoutMilliseconds) == 1 ? read(m_terminal, bytes.data(), bytes.size()) : ssize_t{0};
            if (count <= 0) {
                ADD_FAILURE() << "'" << text << "' does not appear after:\n" << m_shown;
                m_shown += text;
            } else {
                m_shown.append(bytes.data(), static_cast<std::size_t>(count));
            }
        }
        return position;
    }

    pid_t m_process = -1;
    int m_terminal = -1;
    std::string m_shown;
};

/** A fixture for completion in shells. There, rynvelctl is a shell function that prints its arguments. */
class CompletionInAShell : public testing::Test {
protected:
    CompletionInAShell() {
        m_folder.store("rynvelctl", "case $1 in --complete) " + std::string(RYNVEL_EMULATOR) +
                                        " " RYNVELCTL_FOR_TESTS
                                        " \"$@\" ;; *) printf 'given:'; printf ' <%s>' \"$@\"; echo ;; esac\n");
        m_folder.store("m.svd", timerMap());
    }

    /** Returns the commands that prepare every shell for a test. */
    std::string common() const {
        return "export RYNVEL_MAPS='" + m_folder.path() + "/m.svd'\nPS1='" + std::string(InteractiveShell::prompt) +
               "'\nrynvelctl() { sh '" + m_folder.path() + "/rynvelctl' \"$@\"; }\n";
    }

    void expectCompletions(InteractiveShell& shell) const {
        const std::vector<std::pair<std::string, std::string>> lines{
            {"rea\t", "given: <read>"},
            {"read fil\t", "given: <read> <file>"},
            {"dump file1\t 0 1 --bur\t", "given: <dump> <file16> <0> <1> <--burst>"},
            {"--remote 127.0.0.1::9000 rea\t map1\t 0", "given: <--remote> <127.0.0.1::9000> <read> <map16> <0>"},
            {"--remote 127.0.0.1:9000 irq map32 en\t", "given: <--remote> <127.0.0.1:9000> <irq> <map32> <enable>"},
            {"dump --order=n\t file8 0 1", "given: <dump> <--order=network> <file8> <0> <1>"},
            {"--remote=h::9000 --type=Uio3\t irq", "given: <--remote=h::9000> <--type=Uio32> <irq>"},
            {"maps hea\t map3\t", "given: <maps> <header> <map32>"},
            {"read map32 CTRL.MO\t", "given: <read> <map32> <CTRL.MODE>"},
            {"read map32 CH[1].L\t", "given: <read> <map32> <CH[1].LIMIT>"},
            {"set map32 CTRL 31:30,GA\t", "given: <set> <map32> <CTRL> <31:30,GAIN>"},
            {"poll map32 CTRL.RUN run\t", "given: <poll> <map32> <CTRL.RUN> <running>"},
            {"write map32 CTRL GA\t5", "given: <write> <map32> <CTRL> <GAIN=5>"},
            {"write map32 CTRL MODE=f\t", "given: <write> <map32> <CTRL> <MODE=fast>"},
            {"--map=" + m_folder.path() + "/m.s\t list", "given: <--map=" + m_folder.path() + "/m.svd> <list>"}};
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
