// SPDX-License-Identifier: MIT
#include "MapCatalog.h"

#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "MapText.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Maps::MapCatalog;
using Paths = std::vector<std::string>;

/** Returns a map of one peripheral with one register. */
std::string mapWith(const std::string& peripheral) {
    return deviceOf(element("peripheral", element("name", peripheral) + "<baseAddress>0</baseAddress>" +
                                              element("registers", registerOf(""))));
}

void store(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

/** Returns the message of the exception UnusableMap that an action throws, or an empty text. */
template <typename Action>
std::string errorOf(const Action& action) {
    try {
        action();
    } catch (const Maps::UnusableMap& error) {
        return error.what();
    }
    return "";
}

std::string errorOfPaths(const Paths& paths, MapCatalog::MissingPath missing = MapCatalog::MissingPath::Refused) {
    return errorOf([&] { MapCatalog(paths, missing); });
}

/** Returns the file that describes a device, or an empty text if no file does. */
std::string fileFor(MapCatalog& catalog, const std::string& device) {
    const auto description = catalog.find(device);
    return description ? description->file : "";
}

/** A scope in which the process cannot open a file or folder, even as root. */
class NoMoreFiles {
public:
    NoMoreFiles() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_before), 0);
        const rlimit none{0, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    NoMoreFiles(const NoMoreFiles&) = delete;
    NoMoreFiles& operator=(const NoMoreFiles&) = delete;
    ~NoMoreFiles() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &m_before), 0); }

private:
    rlimit m_before{};
};

class MapCatalogs : public testing::Test {
protected:
    MapCatalogs() { std::filesystem::create_directory("maps"); }

    TemporaryWorkingFolder m_folder;
};

TEST_F(MapCatalogs, AreEmptyWithoutPaths) {
    MapCatalog catalog({});
    EXPECT_EQ(catalog.files(), Paths());
    EXPECT_FALSE(catalog.find("a"));
}

TEST_F(MapCatalogs, HaveTheirPathsInTheGivenOrder) {
    store("b.svd", mapWith("B"));
    store("a.svd", mapWith("A"));
    EXPECT_EQ(MapCatalog({"b.svd", "a.svd", "b.svd"}).files(), (Paths{"b.svd", "a.svd", "b.svd"}));
}

TEST_F(MapCatalogs, SortTheMapsOfAFolderByName) {
    for (const std::string name : {"c.svd", "a.svd", "B.svd", "b.svd"}) {
        store("maps/" + name, "");
    }
    store("first.svd", "");
    store("last.svd", "");
    EXPECT_EQ(MapCatalog({"first.svd", "maps", "last.svd"}).files(),
              (Paths{"first.svd", "maps/B.svd", "maps/a.svd", "maps/b.svd", "maps/c.svd", "last.svd"}));
    EXPECT_EQ(MapCatalog({"maps/"}).files().front(), "maps/B.svd");
}

TEST_F(MapCatalogs, UseOnlyTheMapFilesOfAFolder) {
    for (const std::string name : {"a.svd", "a.xml", "svd", "a.svd~", "a.svd.bak", ".svd", ".hidden.svd", "a.SVD"}) {
        store("maps/" + name, "");
    }
    std::filesystem::create_directory("maps/folder.svd");
    store("maps/folder.svd/b.svd", "");
    EXPECT_EQ(mkfifo("maps/pipe.svd", 0600), 0);
    EXPECT_EQ(MapCatalog({"maps"}).files(), Paths{"maps/a.svd"});
}

TEST_F(MapCatalogs, FollowTheLinksOfAFolder) {
    store("target", mapWith("A"));
    std::filesystem::create_symlink("../target", "maps/a.svd");
    std::filesystem::create_symlink("nowhere", "maps/b.svd");
    MapCatalog catalog({"maps"});
    EXPECT_EQ(fileFor(catalog, "A"), "maps/a.svd");
    EXPECT_EQ(errorOf([&] { catalog.find("B"); }), "maps/b.svd: error: No such file or directory");
}

TEST_F(MapCatalogs, AcceptAGivenFileWithAnyName) {
    store("map.xml", mapWith("A"));
    MapCatalog catalog({"map.xml"});
    EXPECT_EQ(fileFor(catalog, "A"), "map.xml");
}

TEST_F(MapCatalogs, RefuseAMissingPath) {
    EXPECT_EQ(errorOfPaths({"maps", "nowhere.svd"}), "nowhere.svd: error: No such file or directory");
    EXPECT_EQ(errorOfPaths({""}), ": error: No such file or directory");
}

TEST_F(MapCatalogs, IgnoreAMissingPathIfTheProgramAsksForIt) {
    store("a.svd", mapWith("A"));
    EXPECT_EQ(MapCatalog({"nowhere", "a.svd/nowhere", "a.svd"}, MapCatalog::MissingPath::Ignored).files(),
              Paths{"a.svd"});
}

TEST_F(MapCatalogs, RefuseAFolderThatCannotBeRead) {
    EXPECT_EQ(chmod("maps", 0), 0);
    inChildProcess([] {
        // Root can read every folder, so the test changes to a different user.
        constexpr uid_t nobody = 65534;
        ASSERT_TRUE(geteuid() != 0 || setuid(nobody) == 0);
        const std::string error = "maps: error: Permission denied";
        EXPECT_EQ(errorOfPaths({"maps"}), error);
        EXPECT_EQ(errorOfPaths({"maps"}, MapCatalog::MissingPath::Ignored), error);
        EXPECT_EQ(errorOfPaths({"maps/a.svd"}), "maps/a.svd: error: Permission denied");
    });
    EXPECT_EQ(chmod("maps", 0700), 0);
}

TEST_F(MapCatalogs, RefuseAPathThatIsALoopOfLinks) {
    std::filesystem::create_symlink("loop", "loop");
    const std::string error = "loop: error: Too many levels of symbolic links";
    EXPECT_EQ(errorOfPaths({"loop"}), error);
    EXPECT_EQ(errorOfPaths({"loop"}, MapCatalog::MissingPath::Ignored), error);
}

TEST_F(MapCatalogs, FindTheFirstMapThatDescribesTheDevice) {
    store("a.svd", mapWith("A"));
    store("b.svd", mapWith("B"));
    store("other_b.svd", mapWith("B"));
    MapCatalog catalog({"a.svd", "b.svd", "other_b.svd"});
    EXPECT_EQ(fileFor(catalog, "B"), "b.svd");
    EXPECT_EQ(fileFor(catalog, "A"), "a.svd");
    EXPECT_EQ(fileFor(catalog, "C"), "");
    EXPECT_EQ(catalog.find("B")->peripheral->name, "B");
}

TEST_F(MapCatalogs, KeepADescriptionWhileTheyReadFurtherMaps) {
    store("a.svd", mapWith("A"));
    store("b.svd", mapWith("B"));
    MapCatalog catalog({"a.svd", "b.svd"});
    const Maps::Peripheral* const first = catalog.find("A")->peripheral;
    EXPECT_TRUE(catalog.find("B"));
    EXPECT_EQ(catalog.find("A")->peripheral, first);
    EXPECT_EQ(first->name, "A");
}

TEST_F(MapCatalogs, ReadAFileOnlyIfNoFileBeforeItDescribesTheDevice) {
    store("a.svd", mapWith("A"));
    store("broken.svd", "<device>\n<oops>");
    MapCatalog catalog({"a.svd", "broken.svd"});
    EXPECT_EQ(fileFor(catalog, "A"), "a.svd");
    const std::string error = errorOf([&] { catalog.find("B"); });
    EXPECT_EQ(error.rfind("broken.svd:2: error: ", 0), 0U) << error;
    EXPECT_EQ(errorOf([&] { catalog.find("B"); }), error);
    EXPECT_EQ(fileFor(catalog, "A"), "a.svd");
}

TEST_F(MapCatalogs, ReadAFileOnce) {
    store("a.svd", mapWith("A"));
    MapCatalog catalog({"a.svd"});
    EXPECT_EQ(fileFor(catalog, "A"), "a.svd");
    std::filesystem::remove("a.svd");
    EXPECT_EQ(fileFor(catalog, "A"), "a.svd");
}

TEST_F(MapCatalogs, ReturnTheMapOfEachFileWithItsWarnings) {
    store("a.svd", mapWith("A"));
    store("b.svd", "<device><odd/>\n" + mapWith("B").substr(mapWith("B").find("<name>")));
    MapCatalog catalog({"a.svd", "b.svd"});
    EXPECT_EQ(diagnosticsOf(catalog.map(1)),
              "m.svd:1: warning: element 'odd' is not part of the format, and is not used\n");
    EXPECT_EQ(catalog.map(0).device->peripherals[0].name, "A");
}

} // namespace
} // namespace RynvelTest
