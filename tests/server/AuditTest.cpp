// SPDX-License-Identifier: MIT
#include "Audit.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "AuditFile.h"
#include "AuditJournal.h"
#include "AuditLines.h"
#include "ChildProcess.h"
#include "LocalSocket.h"
#include "RecordingSink.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::Audit;
using Rynveld::AuditFile;
using Rynveld::AuditJournal;
using Rynveld::AuditLine;
using Lines = std::vector<std::string>;

TEST(AuditLine, ShowsEveryByteOutsidePrintableAsciiAsAnEscape) {
    EXPECT_EQ(AuditLine().add("device", "a\"},{\"b\\\n\x01\x7f\xff~ ").members(),
              R"("device":"a\"},{\"b\\\u000a\u0001\u007f\u00ff~ ")");
}

TEST(AuditLine, HasNumbersListsAndNulls) {
    const std::uint32_t values[] = {0, 7, UINT32_MAX};
    EXPECT_EQ(AuditLine().add("n", UINT64_MAX).add("v", values, 3).add("none", values, 0).addNull("old").members(),
              R"("n":18446744073709551615,"v":[0,7,4294967295],"none":[],"old":null)");
}

std::string utcText(const timespec& time) {
    std::string text;
    Rynveld::UtcText().append(text, time);
    return text;
}

TEST(UtcText, HasMicroseconds) {
    EXPECT_EQ(utcText({0, 0}), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(utcText({951827696, 1999}), "2000-02-29T12:34:56.000001Z");
    EXPECT_EQ(utcText({2147483647, 999999999}), "2038-01-19T03:14:07.999999Z");
}

TEST(UtcText, FollowsTheClockInBothDirections) {
    Rynveld::UtcText utc;
    std::string text;
    for (const timespec& time : {timespec{59, 0}, timespec{59, 5000}, timespec{60, 0}, timespec{59, 0}}) {
        utc.append(text, time);
        text += ' ';
    }
    EXPECT_EQ(text, "1970-01-01T00:00:59.000000Z 1970-01-01T00:00:59.000005Z 1970-01-01T00:01:00.000000Z "
                    "1970-01-01T00:00:59.000000Z ");
}

/** A fixture for an audit. A test can make the sink of the audit fail. */
class AuditTest : public testing::Test {
protected:
    std::unique_ptr<Audit> make(Audit::OnError onError) {
        return std::make_unique<Audit>(std::make_unique<RecordingSink>(m_recording), onError, [this] { ++m_stops; });
    }

    static bool record(Audit& audit, const std::string& operation) {
        return audit.record(AuditLine().add("operation", operation));
    }

    Lines operations() const { return withoutNumbersAndTimes(m_recording.lines); }
    static std::string lineOf(const std::string& operation) { return R"({"operation":")" + operation + "\"}\n"; }

    Recording m_recording;
    int m_stops = 0;
};

TEST_F(AuditTest, NumbersItsLines) {
    const auto audit = make(Audit::OnError::RefuseWrites);
    EXPECT_TRUE(record(*audit, "a"));
    EXPECT_TRUE(record(*audit, "b"));
    ASSERT_EQ(m_recording.lines.size(), 2U);
    EXPECT_EQ(m_recording.lines[0].find(R"({"number":1,"time":")"), 0U);
    EXPECT_EQ(m_recording.lines[1].find(R"({"number":2,"time":")"), 0U);
    EXPECT_EQ(operations(), (Lines{lineOf("a"), lineOf("b")}));
}

TEST_F(AuditTest, RefusesChangesUntilTheKeptLinesAreWritten) {
    const auto audit = make(Audit::OnError::RefuseWrites);
    m_recording.error = ENOSPC;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(audit->permitsChanges());
    EXPECT_FALSE(record(*audit, "a"));
    EXPECT_FALSE(audit->permitsChanges());
    EXPECT_FALSE(record(*audit, "b"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "rynveld: the sink: cannot write the audit: No space left on device (the server refuses writes)\n");
    m_recording.error = 0;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(audit->permitsChanges());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rynveld: the sink: the audit can be written again\n");
    EXPECT_EQ(operations(), (Lines{lineOf("a"), lineOf("b")}));
    EXPECT_EQ(m_stops, 0);
}

TEST_F(AuditTest, StopsTheServerIfItMust) {
    const auto audit = make(Audit::OnError::Stop);
    m_recording.error = EIO;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(record(*audit, "a"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "rynveld: the sink: cannot write the audit: Input/output error (the server stops)\n");
    EXPECT_GT(m_stops, 0);
    EXPECT_FALSE(audit->permitsChanges());
}

TEST_F(AuditTest, ContinuesIfItMayAndCountsTheLinesThatItCannotKeep) {
    const auto audit = make(Audit::OnError::Continue);
    m_recording.error = ENOSPC;
    testing::internal::CaptureStderr();
    for (std::size_t i = 0; i < Audit::maxWaiting + 5; ++i) {
        EXPECT_TRUE(audit->permitsChanges());
        EXPECT_TRUE(record(*audit, "a"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "rynveld: the sink: cannot write the audit: No space left on device (the server continues without it)\n");
    m_recording.error = 0;
    EXPECT_TRUE(record(*audit, "b"));
    Lines expected(Audit::maxWaiting, lineOf("a"));
    expected.emplace_back("{\"operation\":\"lost\",\"count\":5}\n");
    expected.push_back(lineOf("b"));
    EXPECT_EQ(operations(), expected);
    EXPECT_EQ(m_stops, 0);
}

std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/** Returns the message of a failure to open the file, or an empty text. */
std::string problemOf(const std::string& path) {
    try {
        const AuditFile file(path);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

class AuditFileTest : public testing::Test {
    const TemporaryWorkingFolder m_folder;
};

TEST_F(AuditFileTest, IsAppendedTo) {
    std::ofstream("a") << "old\n";
    AuditFile file("a");
    EXPECT_EQ(file.write("1\n"), 0);
    EXPECT_EQ(file.write("2\n"), 0);
    EXPECT_EQ(contentsOf("a"), "old\n1\n2\n");
}

TEST_F(AuditFileTest, CompletesTheLastLineOfAKilledServer) {
    std::ofstream("a") << "{\"number";
    AuditFile file("a");
    EXPECT_EQ(file.write("1\n"), 0);
    EXPECT_EQ(contentsOf("a"), "{\"number\n1\n");
}

TEST_F(AuditFileTest, MustBeAFileOrACharacterDevice) {
    const std::string rule = ": cannot write the audit: not a regular file (give a regular file or 'journal')";
    std::filesystem::create_directory("folder");
    EXPECT_EQ(problemOf("folder"), "folder: cannot write the audit: Is a directory");
    EXPECT_EQ(problemOf("missing/a"), "missing/a: cannot write the audit: No such file or directory");
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    EXPECT_EQ(problemOf("pipe"), "pipe" + rule);
    const int reader = ::open("pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(problemOf("pipe"), "pipe" + rule);
    ::close(reader);
}

TEST_F(AuditFileTest, BelongsToOneServer) {
    AuditFile first("a");
    EXPECT_EQ(problemOf("a"),
              "a: cannot write the audit: another server writes this file (give each server a file of its own)");
    EXPECT_EQ(problemOf("./a"),
              "./a: cannot write the audit: another server writes this file (give each server a file of its own)");
    EXPECT_EQ(first.write("1\n"), 0);
    EXPECT_EQ(contentsOf("a"), "1\n");
}

TEST_F(AuditFileTest, ReportsAFullDisk) {
    AuditFile full("/dev/full");
    EXPECT_EQ(full.write("1\n"), ENOSPC);
    EXPECT_EQ(full.write("1\n"), ENOSPC);
}

TEST_F(AuditFileTest, IsOpenedAgainAfterARename) {
    AuditFile file("a");
    EXPECT_EQ(file.write("1\n"), 0);
    file.reopen();
    EXPECT_EQ(file.write("2\n"), 0);
    std::filesystem::rename("a", "b");
    EXPECT_EQ(file.write("3\n"), 0);
    file.reopen();
    EXPECT_EQ(file.write("4\n"), 0);
    EXPECT_EQ(contentsOf("b"), "1\n2\n3\n");
    EXPECT_EQ(contentsOf("a"), "4\n");
}

TEST_F(AuditFileTest, StaysOpenIfItCannotBeOpenedAgain) {
    AuditFile file("a");
    std::filesystem::rename("a", "b");
    std::filesystem::create_directory("a");
    EXPECT_THROW(file.reopen(), std::runtime_error);
    EXPECT_EQ(file.write("1\n"), 0);
    EXPECT_EQ(contentsOf("b"), "1\n");
}

void limitFiles(rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
}

using AuditFileDeathTest = AuditFileTest;

TEST_F(AuditFileDeathTest, RemovesTheBeginningOfALineThatDoesNotFit) {
    inChildProcess([] {
        std::signal(SIGXFSZ, SIG_IGN);
        AuditFile file("a");
        EXPECT_EQ(file.write("first\n"), 0);
        limitFiles(10);
        EXPECT_EQ(file.write("second\n"), EFBIG);
        EXPECT_EQ(contentsOf("a"), "first\n");
        EXPECT_EQ(file.write("second\n"), EFBIG);
        limitFiles(RLIM_INFINITY);
        EXPECT_EQ(file.write("second\n"), 0);
        EXPECT_EQ(contentsOf("a"), "first\nsecond\n");
    });
}

TEST_F(AuditFileDeathTest, CannotBeOpenedIfItsLastLineCannotBeEnded) {
    inChildProcess([] {
        std::signal(SIGXFSZ, SIG_IGN);
        std::ofstream("a") << "{\"number";
        limitFiles(8);
        EXPECT_EQ(problemOf("a"), "a: cannot write the audit: File too large");
        limitFiles(RLIM_INFINITY);
        EXPECT_EQ(problemOf("a"), "");
    });
}

// A seal keeps the server from truncating the file.
TEST_F(AuditFileDeathTest, CompletesALineLaterIfItsBeginningCannotBeRemoved) {
    inChildProcess([] {
        std::signal(SIGXFSZ, SIG_IGN);
        const int memory = ::memfd_create("audit", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        ASSERT_EQ(::fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK), 0);
        const std::string path = "/proc/self/fd/" + std::to_string(memory);
        AuditFile file(path);
        limitFiles(3);
        EXPECT_EQ(file.write("first\n"), EFBIG);
        EXPECT_EQ(contentsOf(path), "fir");
        limitFiles(4);
        EXPECT_EQ(file.write("first\n"), EFBIG);
        limitFiles(RLIM_INFINITY);
        EXPECT_EQ(file.write("first\n"), 0);
        EXPECT_EQ(file.write("second\n"), 0);
        EXPECT_EQ(contentsOf(path), "first\nsecond\n");
    });
}

/** A fixture for an audit in a journal whose socket is in the working folder. */
class AuditJournalTest : public testing::Test {
protected:
    // The path of a local socket has at most 107 bytes, but the path of the working folder may be longer.
    static constexpr const char* path = "/proc/self/cwd/journal";

    static std::string receivedBy(const LocalSocket& journal) {
        std::string message(1000, '\0');
        const ssize_t size = ::recv(journal.descriptor(), message.data(), message.size(), MSG_DONTWAIT);
        message.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return message;
    }

    static std::string messageWith(const std::string& line) {
        return "MESSAGE=" + line + "PRIORITY=6\nSYSLOG_IDENTIFIER=rynveld\nRYNVELD_AUDIT=1\n";
    }

private:
    const TemporaryWorkingFolder m_folder;
};

TEST_F(AuditJournalTest, ReceivesEachLineAsAMessage) {
    const LocalSocket journal(SOCK_DGRAM, path);
    AuditJournal sink(path);
    EXPECT_EQ(sink.write("{\"number\":1}\n"), 0);
    EXPECT_EQ(sink.write("{\"number\":2}\n"), 0);
    EXPECT_EQ(receivedBy(journal), messageWith("{\"number\":1}\n"));
    EXPECT_EQ(receivedBy(journal), messageWith("{\"number\":2}\n"));
    EXPECT_EQ(receivedBy(journal), "");
}

TEST_F(AuditJournalTest, MayBeMissingOrRestarted) {
    AuditJournal sink(path);
    EXPECT_EQ(sink.write("1\n"), ENOENT);
    {
        const LocalSocket journal(SOCK_DGRAM, path);
        EXPECT_EQ(sink.write("1\n"), 0);
    }
    EXPECT_EQ(sink.write("2\n"), ECONNREFUSED);
    std::filesystem::remove("journal");
    const LocalSocket restarted(SOCK_DGRAM, path);
    EXPECT_EQ(sink.write("2\n"), 0);
    EXPECT_EQ(receivedBy(restarted), messageWith("2\n"));
}

TEST_F(AuditJournalTest, NeedsNoNewSocketAfterARename) {
    const LocalSocket journal(SOCK_DGRAM, path);
    AuditJournal sink(path);
    EXPECT_EQ(sink.write("1\n"), 0);
    sink.reopen();
    EXPECT_EQ(sink.write("2\n"), 0);
    EXPECT_EQ(receivedBy(journal), messageWith("1\n"));
    EXPECT_EQ(receivedBy(journal), messageWith("2\n"));
}

TEST_F(AuditJournalTest, CannotHaveAPathThatIsTooLongForASocket) {
    EXPECT_EQ(AuditJournal('/' + std::string(200, 'j')).write("1\n"), ENAMETOOLONG);
}

TEST(AuditSinks, AreTheJournalOrAFile) {
    const TemporaryWorkingFolder folder;
    EXPECT_EQ(Rynveld::openAuditSink("journal")->name(), "journal");
    EXPECT_EQ(Rynveld::openAuditSink("a")->name(), "a");
    EXPECT_TRUE(std::filesystem::exists("a"));
    EXPECT_FALSE(std::filesystem::exists("journal"));
}

TEST_F(AuditJournalTest, DoesNotBlockAfterItsTimeout) {
    const LocalSocket journal(SOCK_DGRAM, path);
    AuditJournal sink(path, std::chrono::milliseconds(1));
    std::size_t taken = 0;
    while (sink.write("1\n") == 0) {
        ++taken;
    }
    EXPECT_EQ(sink.write("1\n"), EAGAIN);
    for (std::size_t i = 0; i < taken; ++i) {
        EXPECT_EQ(receivedBy(journal), messageWith("1\n"));
    }
    EXPECT_EQ(sink.write("2\n"), 0);
    EXPECT_EQ(receivedBy(journal), messageWith("2\n"));
}

} // namespace
} // namespace RynvelTest
