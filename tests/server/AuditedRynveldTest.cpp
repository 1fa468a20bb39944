// SPDX-License-Identifier: MIT
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "AuditLines.h"
#include "BecomesTrue.h"
#include "HttpRequest.h"
#include "LocalSocket.h"
#include "RecordClient.h"
#include "RynveldProcess.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Launch = RynveldProcess::Launch;

constexpr const char* name = "uio.32";

Arguments simulatedWith(Arguments arguments) {
    arguments.emplace_back("--simulate");
    return arguments;
}

/** A server with an audit in the file "a" of a working folder. */
class AuditedRynveld : public testing::Test {
protected:
    static Arguments audited(const Arguments& further = {}) {
        Arguments arguments = simulatedWith({"--audit", "a"});
        arguments.insert(arguments.end(), further.begin(), further.end());
        return arguments;
    }

    static std::size_t doneWrites(const std::vector<AuditMembers>& lines) {
        std::size_t count = 0;
        for (const AuditMembers& line : lines) {
            count += line.at("operation") == "\"write\"" && line.at("result") == "\"done\"" ? 1U : 0U;
        }
        return count;
    }

    /** Limits the size of the files of the server. */
    static void limitFiles(const RynveldProcess& server, rlim_t size) {
        const rlimit limit{size, RLIM_INFINITY};
        EXPECT_EQ(::prlimit(server.pid(), RLIMIT_FSIZE, &limit, nullptr), 0);
    }

private:
    const TemporaryWorkingFolder m_folder;
};

TEST_F(AuditedRynveld, RecordsAWriteBeforeItAnswersTheClient) {
    const RynveldProcess server(audited());
    const RecordClient client(server.port(), name);
    for (std::uint32_t seen = 1; seen <= 20; ++seen) {
        EXPECT_TRUE(client.succeeds(writeOf(name, 0, {seen})));
        EXPECT_EQ(doneWrites(auditIn("a")), seen);
    }
}

TEST_F(AuditedRynveld, RefusesWritesWhenItsDiskIsFullAndContinuesWhenThereIsRoom) {
    Launch launch;
    launch.preparation = "ulimit -S -f 1; ";
    RynveldProcess server(audited(), launch);
    const RecordClient client(server.port(), name);
    std::uint32_t seen = 0;
    while (client.succeeds(writeOf(name, 0, {seen + 1}))) {
        ++seen;
    }
    EXPECT_GT(seen, 0U);
    // The device has carried out the write whose line did not fit.
    EXPECT_EQ(client.values(readOf(name, 0)), Values{seen + 1});
    EXPECT_FALSE(client.succeeds(writeOf(name, 0, {100})));
    EXPECT_EQ(client.values(readOf(name, 0)), Values{seen + 1});
    EXPECT_EQ(doneWrites(auditIn("a")), seen);
    limitFiles(server, RLIM_INFINITY);
    EXPECT_TRUE(client.succeeds(writeOf(name, 0, {200})));
    const auto lines = auditIn("a");
    expectNumbersWithoutGaps(lines);
    EXPECT_EQ(doneWrites(lines), seen + 2);
    const std::string text = server.endWithText();
    EXPECT_EQ(text.find("rynveld: a: cannot write the audit: File too large (the server refuses writes)\n"), 0U)
        << text;
    EXPECT_NE(text.find("rynveld: a: the audit can be written again\n"), std::string::npos) << text;
}

TEST_F(AuditedRynveld, ContinuesWhenItsDiskIsFullIfItMay) {
    Launch launch;
    launch.preparation = "ulimit -S -f 1; ";
    RynveldProcess server(audited({"--audit-on-error", "continue"}), launch);
    const RecordClient client(server.port(), name);
    for (std::uint32_t i = 0; i < 50; ++i) {
        EXPECT_TRUE(client.succeeds(writeOf(name, 0, {i})));
    }
    EXPECT_LT(doneWrites(auditIn("a")), 50U);
    limitFiles(server, RLIM_INFINITY);
    EXPECT_TRUE(client.succeeds(writeOf(name, 0, {50})));
    const auto lines = auditIn("a");
    expectNumbersWithoutGaps(lines);
    EXPECT_EQ(doneWrites(lines), 51U);
    const std::string text = server.endWithText();
    EXPECT_EQ(text, "rynveld: a: cannot write the audit: File too large (the server continues without it)\n"
                    "rynveld: a: the audit can be written again\n");
}

TEST_F(AuditedRynveld, StopsOnAFullDeviceIfItMust) {
    const std::string problem = "rynveld: /dev/full: cannot write the audit: No space left on device ";
    const auto ended =
        runRynveld({"--listen", "127.0.0.1:0", "--simulate", "--audit", "/dev/full", "--audit-on-error", "stop"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.error.find(problem + "(the server stops)\n"), 0U) << ended.error;
    EXPECT_NE(ended.error.find("rynveld: /dev/full: the server has stopped because it cannot write the audit\n"),
              std::string::npos)
        << ended.error;
}

TEST_F(AuditedRynveld, DoesNotShareItsFileWithAnotherServer) {
    const RynveldProcess server(audited());
    const auto second = runRynveld({"--listen", "127.0.0.1:0", "--simulate", "--audit", "a"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(
        second.error,
        "rynveld: a: cannot write the audit: another server writes this file (give each server a file of its own)\n");
}

TEST_F(AuditedRynveld, LosesNothingWhileItsFileIsRotated) {
    RynveldProcess server(audited());
    std::atomic<bool> isOver{false};
    auto writing = std::async(std::launch::async, [&] {
        const RecordClient client(server.port(), name);
        std::size_t seen = 0;
        while (!isOver) {
            seen += client.succeeds(writeOf(name, 0, {7})) ? 1U : 0U;
        }
        return seen;
    });
    std::vector<std::string> files;
    for (unsigned int round = 0; round < 10; ++round) {
        files.push_back("a" + std::to_string(round));
        std::filesystem::rename("a", files.back());
        EXPECT_EQ(::kill(server.pid(), SIGHUP), 0);
        EXPECT_TRUE(becomesTrue([] { return std::filesystem::exists("a") && std::filesystem::file_size("a") > 0; }));
    }
    isOver = true;
    const std::size_t seen = writing.get();
    server.end();
    files.emplace_back("a");
    std::vector<AuditMembers> lines;
    for (const std::string& file : files) {
        const auto part = auditIn(file);
        lines.insert(lines.end(), part.begin(), part.end());
    }
    expectNumbersWithoutGaps(lines);
    EXPECT_EQ(doneWrites(lines), seen);
}

TEST_F(AuditedRynveld, ContinuesWithTheOldFileIfItCannotOpenANewOne) {
    RynveldProcess server(audited());
    std::filesystem::rename("a", "old");
    std::filesystem::create_directory("a");
    EXPECT_EQ(::kill(server.pid(), SIGHUP), 0);
    const RecordClient client(server.port(), name);
    EXPECT_TRUE(client.succeeds(writeOf(name, 0, {7})));
    EXPECT_EQ(server.endWithText(), "rynveld: a: cannot write the audit: Is a directory (the server continues to write "
                                    "the old file)\n");
    EXPECT_EQ(doneWrites(auditIn("old")), 1U);
}

TEST_F(AuditedRynveld, RecordsRefusedConnections) {
    const RynveldProcess server(audited({"--allow", "10.0.0.0/8"}));
    EXPECT_TRUE(RecordClient(server.port()).isEnded());
    const auto lines = auditIn("a");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].at("operation"), "\"start\"");
    EXPECT_EQ(lines[1].at("operation"), "\"connect\"");
    EXPECT_EQ(lines[1].at("peer").find("\"127.0.0.1:"), 0U);
    EXPECT_EQ(lines[1].at("reason"), "\"its network is not allowed\"");
}

TEST_F(AuditedRynveld, NamesTheProcessAndTheUserOfALocalClient) {
    Launch launch;
    // The path of a local socket has at most 107 bytes, but the path of the working folder may be longer.
    launch.listen = {"--listen", "unix:/proc/self/cwd/s"};
    const RynveldProcess server(audited(), launch);
    sockaddr_un address{AF_UNIX, "s"};
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    RecordClient::on(socket).open(name);
    const auto lines = auditIn("a");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].at("process"), std::to_string(::getpid()));
    EXPECT_EQ(lines[1].at("user"), std::to_string(::getuid()));
}

/** A server with the options of the file "o". The test receives the messages to the service manager. */
class ReloadedRynveld : public AuditedRynveld {
protected:
    explicit ReloadedRynveld(const Arguments& further = {}) {
        write("");
        Launch launch;
        launch.preparation = "export NOTIFY_SOCKET='" + m_manager.name() + "'; ";
        Arguments options{"--config", "o"};
        options.insert(options.end(), further.begin(), further.end());
        m_server = std::make_unique<RynveldProcess>(simulatedWith(options), launch);
    }

    static void write(const std::string& contents) { std::ofstream("o") << contents; }

    /** Changes the file and sends SIGHUP. Waits until the server has reloaded the file. */
    void reload(const std::string& contents) {
        write(contents);
        EXPECT_EQ(::kill(m_server->pid(), SIGHUP), 0);
        expectState("RELOADING=1\nMONOTONIC_USEC=");
        expectState("READY=1");
    }

    /** Waits for the next message to the service manager, and expects it to begin with a text. */
    void expectState(const std::string& beginning) {
        EXPECT_EQ(m_manager.received(0).substr(0, beginning.size()), beginning);
    }

    const LocalSocket m_manager{SOCK_DGRAM};
    std::unique_ptr<RynveldProcess> m_server;
};

TEST_F(ReloadedRynveld, ChangesTheRulesOfOpenConnections) {
    expectState("READY=1");
    const RecordClient client(m_server->port(), name);
    EXPECT_TRUE(client.succeeds(writeOf(name, 0, {1})));
    reload("read-only uio.32\n");
    EXPECT_TRUE(client.isRefused(writeOf(name, 0, {2})));
    EXPECT_EQ(client.values(readOf(name, 0)), Values{1});
    reload("device seek.8\n");
    EXPECT_TRUE(client.isRefused(readOf(name, 0)));
    EXPECT_FALSE(RecordClient(m_server->port()).succeeds(Request(Type::Open, name)));
    reload("allow 10.0.0.0/8\n");
    EXPECT_TRUE(client.succeeds(writeOf(name, 0, {3})));
    EXPECT_TRUE(RecordClient(m_server->port()).isEnded());
    const std::string line = "rynveld: o: the new options are in effect\n";
    EXPECT_EQ(m_server->endWithText(), line + line + line);
}

class ReloadedRynveldWithMetrics : public ReloadedRynveld {
protected:
    ReloadedRynveldWithMetrics() : ReloadedRynveld({"--metrics", "0"}) {}

    /** Returns the metrics, or an empty text if the server closes the connection instead. */
    std::string metrics() const { return metricsOf(m_server->metricsPort()); }
};

TEST_F(ReloadedRynveldWithMetrics, ChangesWhoMayReadTheMetrics) {
    expectState("READY=1");
    EXPECT_NE(metrics(), "");
    reload("allow 10.0.0.0/8\n");
    EXPECT_TRUE(becomesTrue([this] { return metrics().empty(); }));
    reload("");
    EXPECT_TRUE(becomesTrue([this] { return !metrics().empty(); }));
    const std::string line = "rynveld: o: the new options are in effect\n";
    EXPECT_EQ(m_server->endWithText(), line + line);
}

TEST_F(ReloadedRynveld, KeepsTheOldOptionsIfTheFileHasAnError) {
    expectState("READY=1");
    reload("read-only uio.32\n");
    reload("\nbogus\n");
    reload("fault error\n");
    std::filesystem::remove("o");
    std::filesystem::create_directory("o");
    EXPECT_EQ(::kill(m_server->pid(), SIGHUP), 0);
    expectState("RELOADING=1\n");
    expectState("READY=1");
    const RecordClient client(m_server->port(), name);
    EXPECT_TRUE(client.isRefused(writeOf(name, 0, {1})));
    const std::string kept = " (the old options stay in effect)\n";
    EXPECT_EQ(m_server->endWithText(),
              "rynveld: o: the new options are in effect\n"
              "rynveld: o:2: unknown option '--bogus' (--help lists the options)" +
                  kept + "rynveld: o:1: --fault: the option cannot change while the server runs (restart the server)" +
                  kept + "rynveld: o: cannot read the options: Is a directory" + kept);
}

/** A server whose service manager expects a message within 2 ms. */
class WatchedRynveld : public testing::Test {
protected:
    WatchedRynveld() : m_server(simulatedWith({}), launch()) {}

    Launch launch() const {
        Launch launch;
        launch.preparation = "export NOTIFY_SOCKET='" + m_manager.name() + "' WATCHDOG_USEC=2000; ";
        return launch;
    }

    const LocalSocket m_manager{SOCK_DGRAM};
    const RynveldProcess m_server;
};

TEST_F(WatchedRynveld, TellsTheServiceManagerThatItIsAlive) {
    EXPECT_EQ(m_manager.received(0), "WATCHDOG=1");
    EXPECT_EQ(m_manager.received(0), "READY=1");
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_EQ(m_manager.received(0), "WATCHDOG=1");
    }
}

} // namespace
} // namespace RynvelTest
