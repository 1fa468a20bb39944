// SPDX-License-Identifier: MIT
#include "Snapshot.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Failure.h"
#include "FileReplacement.h"
#include "JsonReader.h"
#include "Program.h"
#include "TimeText.h"

namespace RynvelTest {
namespace {

using namespace Rynvelctl;

const char* const time = "2026-01-02T03:04:05.000006Z";

Snapshot example() {
    return {"rtc0",
            {"maps/board.svd", "board", "1.2"},
            time,
            {{"RTCDR", 0, 32, 0xFFFFFFFF}, {"CHANNEL[1].MODE", 0x10, 8, 7}}};
}

const char* const exampleText = R"({"format":"rynvel-registers","version":1,"device":"rtc0",)"
                                R"("map":{"file":"maps/board.svd","name":"board","version":"1.2"},)"
                                R"("time":"2026-01-02T03:04:05.000006Z","registers":[)"
                                "\n"
                                R"({"name":"RTCDR","offset":0,"size":32,"value":4294967295},)"
                                "\n"
                                R"({"name":"CHANNEL[1].MODE","offset":16,"size":8,"value":7})"
                                "\n]}\n";

/** Returns the text of the example with the first occurrence of one text replaced by another. */
std::string exampleWith(const std::string& replaced, const std::string& replacement) {
    std::string text = exampleText;
    const std::size_t position = text.find(replaced);
    EXPECT_NE(position, std::string::npos) << replaced;
    return text.replace(position, replaced.size(), replacement);
}

/** Returns the error in a snapshot, as `LINE: REASON`; "no complaint" if there is none. */
std::string complaint(const std::string& text) {
    try {
        parseSnapshot(text);
    } catch (const WrongJson& error) {
        return std::to_string(error.line()) + ": " + error.what();
    }
    return "no complaint";
}

/** Returns the status and the message of a failing call, as `STATUS: MESSAGE`; "no failure" if the call succeeds. */
template <typename Call>
std::string failureOf(const Call& call) {
    try {
        call();
    } catch (const Failure& failure) {
        return std::to_string(static_cast<int>(failure.status())) + ": " + failure.what();
    }
    return "no failure";
}

TEST(Snapshots, HaveOneLineForEachRegister) { EXPECT_EQ(snapshotText(example()), exampleText); }

TEST(Snapshots, AreReadAsTheyWereWritten) {
    const Snapshot snapshot = parseSnapshot(exampleText);
    EXPECT_EQ(snapshot.device, "rtc0");
    EXPECT_EQ(snapshot.map.file, "maps/board.svd");
    EXPECT_EQ(snapshot.map.name, "board");
    EXPECT_EQ(snapshot.map.version, "1.2");
    EXPECT_EQ(snapshot.time, time);
    ASSERT_EQ(snapshot.registers.size(), 2U);
    EXPECT_EQ(snapshot.registers[0].value, 0xFFFFFFFF);
    EXPECT_EQ(snapshot.registers[1].name, "CHANNEL[1].MODE");
    EXPECT_EQ(snapshot.registers[1].offset, 0x10U);
    EXPECT_EQ(snapshot.registers[1].size, 8U);
    EXPECT_EQ(snapshot.registers[1].value, 7U);
}

TEST(Snapshots, MayContainNoRegister) {
    Snapshot snapshot = example();
    snapshot.registers.clear();
    EXPECT_TRUE(parseSnapshot(snapshotText(snapshot)).registers.empty());
}

TEST(Snapshots, ContainNamesWithAnyCharacter) {
    Snapshot snapshot = example();
    snapshot.map.file = "a \"b\"\\\n\xFF";
    snapshot.registers[0].name = "\xC3\xBC\t";
    const Snapshot read = parseSnapshot(snapshotText(snapshot));
    EXPECT_EQ(read.map.file, "a \"b\"\\\n\xC3\xBF");
    EXPECT_EQ(read.registers[0].name, "\xC3\xBC\t");
}

TEST(Snapshots, AreReadInAnyLayout) {
    std::string text;
    bool isInString = false;
    for (const char character : std::string(exampleText)) {
        isInString = isInString != (character == '"');
        text += character;
        text += isInString || std::isdigit(static_cast<unsigned char>(character)) != 0 ? "" : "\r\n\t ";
    }
    EXPECT_EQ(snapshotText(parseSnapshot(text)), exampleText);
}

TEST(Snapshots, AreRefusedWithTheLineIfTheyAreNotJson) {
    const std::string problem = "the file is not well-formed JSON: syntax error while parsing ";
    EXPECT_EQ(complaint(""), "1: " + problem + "value - unexpected end of input");
    EXPECT_EQ(complaint("{\n\n]"), "3: " + problem + "object key - unexpected ']'");
    EXPECT_EQ(complaint("{\"format\":\n1,\n}"), "3: " + problem + "object key - unexpected '}'");
    EXPECT_EQ(complaint(std::string(exampleText) + "\n0"), "6: " + problem + "value - unexpected number literal");
    EXPECT_EQ(complaint(exampleWith("\"value\":7", "\"value\":07")),
              "3: " + problem + "object - unexpected number literal");
    EXPECT_EQ(complaint(exampleWith("rtc0", "rtc\xFF")),
              "1: " + problem + "value - invalid string: ill-formed UTF-8 byte");
    EXPECT_EQ(complaint(exampleWith("\"value\":7", "\"value\":1e999")),
              "3: the file is not well-formed JSON: number overflow parsing '1e999'");
    EXPECT_EQ(complaint("[\n[[[[[[[\n[0]]]]]]]]]"), "3: the values are nested more than 8 levels deep");
}

TEST(Snapshots, AreRefusedIfTheirFormatIsUnknown) {
    EXPECT_EQ(complaint("[]"), "1: the snapshot is not an object");
    EXPECT_EQ(complaint("\n{}"), "2: the snapshot has no member 'format'");
    EXPECT_EQ(complaint(exampleWith("rynvel-registers", "png")),
              "1: the file is not a snapshot ('format' is 'png' instead of 'rynvel-registers')");
    EXPECT_EQ(complaint(exampleWith("\"version\":1", "\"version\":2")),
              "1: version 2 of the format is unknown (1 is supported)");
}

TEST(Snapshots, MustHaveEachMemberOnce) {
    EXPECT_EQ(complaint(exampleWith("\"value\":7", "\"value\":7,\n\"value\":7")),
              "4: the register has two members 'value'");
    EXPECT_EQ(complaint(exampleWith("\"size\":8,", "")), "3: the register has no member 'size'");
    EXPECT_EQ(complaint(exampleWith("\"size\":8,", "\"size\":8,\n\"note\":[],")),
              "4: the register has the unknown member 'note'");
    EXPECT_EQ(complaint(exampleWith("\"name\":\"board\",", "")), "1: 'map' has no member 'name'");
    EXPECT_EQ(complaint(exampleWith("\"name\":\"board\"", "\"name\":\"board\",\"x\":null")),
              "1: 'map' has the unknown member 'x'");
    EXPECT_EQ(complaint(exampleWith("\n]}", "\n],\n\"x\":false}")), "5: the snapshot has the unknown member 'x'");
}

TEST(Snapshots, MustHaveValuesOfTheRightKind) {
    EXPECT_EQ(complaint(exampleWith("\"rtc0\"", "0")), "1: 'device' is not a string");
    EXPECT_EQ(complaint(exampleWith("\"rtc0\"", "\"\"")), "1: 'device' is empty");
    EXPECT_EQ(complaint(exampleWith("\"rtc0\"", "\"rtc\\n0\"")), "1: 'device' contains a control character");
    EXPECT_EQ(complaint(exampleWith("\"RTCDR\"", "\"\"")), "2: 'name' is empty");
    EXPECT_EQ(complaint(exampleWith("{\"name\":\"RTCDR\"", "7,{\"name\":\"RTCDR\"")),
              "2: the register is not an object");
    EXPECT_EQ(complaint(exampleWith("2026-01-02T", "2026-01-02 ")),
              "1: 'time' is not a time in UTC such as 1970-01-01T00:00:00.000000Z");
    for (const std::string number : {"-1", "1.0", "1e1", "\"0x1\"", "18446744073709551616", "null", "true"}) {
        EXPECT_EQ(complaint(exampleWith("\"offset\":16", "\"offset\":" + number)), "3: 'offset' is not a whole number");
    }
    EXPECT_EQ(complaint(exampleWith("\"registers\":[", "\"registers\":{},\"x\":[")), "1: 'registers' is not an array");
}

TEST(Snapshots, MustHaveNumbersInTheirRanges) {
    EXPECT_EQ(complaint(exampleWith("\"offset\":16", "\"offset\":4294967296")),
              "3: 'offset' is 4294967296, not a number from 0 to 4294967295");
    EXPECT_EQ(complaint(exampleWith("\"size\":32", "\"size\":33")), "2: 'size' is 33, not a number from 1 to 32");
    EXPECT_EQ(complaint(exampleWith("\"size\":8", "\"size\":0")), "3: 'size' is 0, not a number from 1 to 32");
    EXPECT_EQ(complaint(exampleWith("\"value\":7", "\"value\":256")), "3: 'value' is 256, not a number from 0 to 255");
    EXPECT_EQ(complaint(exampleWith("4294967295", "4294967296")),
              "2: 'value' is 4294967296, not a number from 0 to 4294967295");
}

TEST(Snapshots, MustContainEachRegisterOnce) {
    EXPECT_EQ(complaint(exampleWith("CHANNEL[1].MODE", "RTCDR")), "3: register RTCDR is also in line 2");
}

TEST(Snapshots, MustNotHaveTooManyValues) {
    std::string text = "[\n0";
    for (int i = 0; i < 2'000'000; ++i) {
        text += ",0";
    }
    EXPECT_EQ(complaint(text), "2: the file has more than 2000000 values");
}

TEST(SnapshotFiles, AreNotWrittenIfTheyCannotBeReadAgain) {
    Snapshot snapshot = example();
    EXPECT_EQ(readableText(snapshot), exampleText);
    snapshot.registers[1].name = "RTCDR";
    EXPECT_EQ(failureOf([&] { readableText(snapshot); }),
              "1: rtc0: diff and restore would refuse a snapshot of the registers: register RTCDR is also in line 2");
    snapshot = example();
    snapshot.map.version.assign(16'777'216, '1');
    EXPECT_EQ(
        failureOf([&] { readableText(snapshot); }),
        "1: rtc0: diff and restore would refuse a snapshot of the registers: the file has more than 16777216 bytes");
}

TEST(SnapshotFiles, AreRefusedWithTheirNameAndLine) {
    const TestFolder folder;
    folder.store("s", "{\n\"format\":0}");
    const std::string name = folder.path() + "/s";
    EXPECT_EQ(failureOf([&] { readSnapshot(name); }), "2: " + name + ":2: error: 'format' is not a string");
    EXPECT_EQ(failureOf([&] { readSnapshot(name + "x"); }), "2: " + name + "x: No such file or directory");
    EXPECT_EQ(failureOf([&] { readSnapshot(folder.path()); }), "2: " + folder.path() + ": Is a directory");
    EXPECT_EQ(failureOf([&] { readSnapshot("/dev/zero"); }),
              "2: /dev/zero: error: the file has more than 16777216 bytes");
}

TEST(TimeStamps, AreRecognizedByTheirForm) {
    EXPECT_TRUE(isTimeStamp(timeStamp()));
    for (const std::string text :
         {"", "2026-01-02T03:04:05Z", "2026-01-02T03:04:05.000006", "x026-01-02T03:04:05.000006Z"}) {
        EXPECT_FALSE(isTimeStamp(text)) << text;
    }
}

/** Replaces the call that stores the contents of a file on the disk, as long as the object exists. */
class OnSync {
public:
    /** @param answer returns the error number of the call; 0 for success. */
    explicit OnSync(std::function<int()> answer) { reaction = std::move(answer); }
    OnSync(const OnSync&) = delete;
    OnSync& operator=(const OnSync&) = delete;
    ~OnSync() { reaction = nullptr; }

    static inline std::function<int()> reaction;
};

/** The permissions of the new file at the time when its owner is set. */
std::optional<mode_t> modeBeforeOwner;

/** Removes the privileges of root from the process as long as the object exists. */
class OtherUser {
public:
    static constexpr uid_t id = 65534;

    OtherUser() { EXPECT_EQ(seteuid(id), 0); }
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;
    ~OtherUser() { EXPECT_EQ(seteuid(0), 0); }
};

class ReplacedFiles : public testing::Test {
protected:
    std::string name(const std::string& file) const { return m_folder.path() + '/' + file; }

    std::size_t count() const {
        const std::filesystem::directory_iterator files(m_folder.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TestFolder m_folder;
};

TEST_F(ReplacedFiles, HaveTheNewContents) {
    replaceFile(name("f"), "new");
    EXPECT_EQ(m_folder.load("f"), "new");
    replaceFile(name("f"), "");
    EXPECT_EQ(m_folder.load("f"), "");
    EXPECT_EQ(count(), 1U);
}

TEST_F(ReplacedFiles, MayBeInTheWorkingFolder) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.path());
    replaceFile("f", "new");
    std::filesystem::current_path(before);
    EXPECT_EQ(m_folder.load("f"), "new");
}

TEST_F(ReplacedFiles, KeepTheirPermissionsAndTheContentsThatOthersHaveOpen) {
    m_folder.store("f", "old");
    ASSERT_EQ(chmod(name("f").c_str(), 0640), 0);
    std::ifstream reader(name("f"));
    replaceFile(name("f"), "new");
    struct stat file {};
    ASSERT_EQ(stat(name("f").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0640U);
    std::string seen;
    reader >> seen;
    EXPECT_EQ(seen, "old");
}

TEST_F(ReplacedFiles, CannotBeReadByOthersBeforeTheyHaveTheirPermissions) {
    const mode_t mask = umask(0);
    m_folder.store("f", "old");
    modeBeforeOwner.reset();
    replaceFile(name("f"), "new");
    umask(mask);
    ASSERT_TRUE(modeBeforeOwner.has_value());
    EXPECT_EQ(*modeBeforeOwner & 07777U, 0600U);
}

TEST_F(ReplacedFiles, KeepTheirOwner) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    m_folder.store("f", "old");
    ASSERT_EQ(chown(name("f").c_str(), 12, 34), 0);
    replaceFile(name("f"), "new");
    struct stat file {};
    ASSERT_EQ(stat(name("f").c_str(), &file), 0);
    EXPECT_EQ(file.st_uid, 12U);
    EXPECT_EQ(file.st_gid, 34U);
}

TEST_F(ReplacedFiles, GiveNoPermissionsToAnotherGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file to another group";
    }
    m_folder.store("f", "old");
    ASSERT_EQ(chown(name("f").c_str(), OtherUser::id, 34), 0);
    ASSERT_EQ(chmod(name("f").c_str(), 06674), 0);
    ASSERT_EQ(chmod(m_folder.path().c_str(), 0777), 0);
    {
        const OtherUser user;
        replaceFile(name("f"), "new");
    }
    struct stat file {};
    ASSERT_EQ(stat(name("f").c_str(), &file), 0);
    EXPECT_EQ(file.st_uid, OtherUser::id);
    EXPECT_NE(file.st_gid, 34U);
    EXPECT_EQ(file.st_mode & 07777U, 0604U);
}

TEST_F(ReplacedFiles, DoNotRunAsTheirOwner) {
    m_folder.store("f", "old");
    ASSERT_EQ(chmod(name("f").c_str(), 06750), 0);
    replaceFile(name("f"), "new");
    struct stat file {};
    ASSERT_EQ(stat(name("f").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0750U);
}

TEST_F(ReplacedFiles, HaveThePermissionsOfNewFilesIfTheyAreNew) {
    const mode_t mask = umask(027);
    replaceFile(name("f"), "new");
    umask(mask);
    struct stat file {};
    ASSERT_EQ(stat(name("f").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0640U);
}

TEST_F(ReplacedFiles, AreRegularFilesInAFolderThatExists) {
    m_folder.store("f", "old");
    std::filesystem::create_symlink("f", name("link"));
    ASSERT_EQ(mkfifo(name("pipe").c_str(), 0600), 0);
    const std::string special = ": the file is not a regular file (- is standard output)";
    for (const auto& [file, problem] :
         {std::pair(m_folder.path(), std::string("2: ") + m_folder.path() + ": Is a directory"),
          {name("link"), "2: " + name("link") + ": the file is a symbolic link (give the name of the file itself)"},
          {name("pipe"), "2: " + name("pipe") + special},
          {"/dev/null", "2: /dev/null" + special},
          {name("f/g"), "1: " + name("f/g") + ": Not a directory"}}) {
        EXPECT_EQ(failureOf([&, name = file] { requireReplaceable(name); }), problem);
        EXPECT_EQ(failureOf([&, name = file] { replaceFile(name, "new"); }), problem);
    }
    EXPECT_EQ(failureOf([&] { replaceFile(name("no/f"), "new"); }),
              "1: " + name("no/f") + ": No such file or directory");
    EXPECT_EQ(m_folder.load("f"), "old");
    EXPECT_EQ(count(), 3U);
}

TEST_F(ReplacedFiles, BelongToTheUserInAStickyFolder) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    for (const std::string file : {"own", "foreign"}) {
        m_folder.store(file, "old");
        ASSERT_EQ(chmod(name(file).c_str(), 0666), 0);
    }
    ASSERT_EQ(chown(name("own").c_str(), OtherUser::id, 0), 0);
    ASSERT_EQ(chmod(m_folder.path().c_str(), 01777), 0);
    requireReplaceable(name("foreign"));
    {
        const OtherUser user;
        requireReplaceable(name("own"));
        requireReplaceable(name("new"));
        EXPECT_EQ(failureOf([&] { requireReplaceable(name("foreign")); }),
                  "1: " + name("foreign") + ": Operation not permitted");
    }
    EXPECT_EQ(m_folder.load("own"), "old");
    EXPECT_EQ(m_folder.load("foreign"), "old");
    EXPECT_EQ(count(), 2U);
}

TEST_F(ReplacedFiles, StayAsTheyWereWhenTheDiskIsFull) {
    m_folder.store("f", "old");
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{4, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string failure = failureOf([&] { replaceFile(name("f"), "too much"); });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(failure, "1: " + name("f") + ": File too large");
    EXPECT_EQ(m_folder.load("f"), "old");
    EXPECT_EQ(count(), 1U);
}

TEST_F(ReplacedFiles, StayAsTheyWereWhenTheDiskDoesNotStoreTheNewContents) {
    m_folder.store("f", "old");
    const OnSync onSync([] { return EIO; });
    EXPECT_EQ(failureOf([&] { replaceFile(name("f"), "new"); }), "1: " + name("f") + ": Input/output error");
    EXPECT_EQ(m_folder.load("f"), "old");
    EXPECT_EQ(count(), 1U);
}

TEST_F(ReplacedFiles, AreCompleteEvenIfASignalEndsTheProgram) {
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        m_folder.store("f", "old");
        const OnSync onSync([number] { return raise(number); });
        EXPECT_EXIT(replaceFile(name("f"), "new"), testing::KilledBySignal(number), "");
        EXPECT_EQ(m_folder.load("f"), "new");
        EXPECT_EQ(count(), 1U);
    }
}

} // namespace
} // namespace RynvelTest

extern "C" int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
    struct stat file {};
    if (fstat(descriptor, &file) == 0) {
        RynvelTest::modeBeforeOwner = file.st_mode;
    }
    return fchownat(descriptor, "", owner, group, AT_EMPTY_PATH);
}

extern "C" int fsync(int descriptor) {
    if (!RynvelTest::OnSync::reaction) {
        return static_cast<int>(syscall(SYS_fsync, descriptor));
    }
    errno = RynvelTest::OnSync::reaction();
    return errno == 0 ? 0 : -1;
}
