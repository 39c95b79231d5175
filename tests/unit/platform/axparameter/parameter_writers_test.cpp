// The parameter file when other programs and people write it while it is in use: whole, or without
// care.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <axsdk/axparameter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/declared_parameters.h"
#include "platform/hostcam/parameter_store.h"
#include "tests/unit/platform/axparameter/parameter_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::readFile;
using testing_support::writeFile;

class ParameterWriters : public testing_support::ParameterTest {};

/// Writes over a file without care: its inode stays.
void overwrite(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::trunc) << content;
}

TEST_F(ParameterWriters, AFileCutAnywhereWhileInUseTakesNoSettingAway) {
    open();
    for (const std::string& name : hostcam::declaredParameters()) {
        set(name, "value of " + name);
    }
    ASSERT_TRUE(ax_parameter_add(handle, "Own", "mine", nullptr, error.out()));
    std::string whole = readFile(camera.parameters());
    std::vector<std::size_t> lengths;
    for (std::size_t length = 0; length < whole.size(); length += 61) {
        lengths.push_back(length);
        lengths.push_back(whole.find('\n', length) + 1); // a whole line is the last
    }
    for (const std::size_t length : lengths) {
        overwrite(camera.parameters(), whole.substr(0, length));
        EXPECT_EQ(get("Markers0x"), "value of Markers0x") << length;
        EXPECT_EQ(get("Own"), "mine") << length;
        const std::string value = "after " + std::to_string(length);
        set("EulaAccepted", value);
        const std::string line = "EulaAccepted=";
        const std::size_t at = whole.find(line) + line.size();
        whole.replace(at, whole.find('\n', at) - at, value);
        ASSERT_EQ(readFile(camera.parameters()), whole) << length;
    }
}

TEST_F(ParameterWriters, ACutFileIsMendedByAChangeThatChangesNothing) {
    open();
    set("MarkersSeconds", "5");
    const std::string whole = readFile(camera.parameters());
    overwrite(camera.parameters(), "");
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_THAT(camera.takeWarnings(), ElementsAre(camera.parameters().string() +
                                                   ": it was cut short; what it held stays known"));
    set("MarkersSeconds", "5");
    EXPECT_EQ(readFile(camera.parameters()), whole);
}

TEST_F(ParameterWriters, AnEmptyFilePutInPlaceOfTheOldOneTakesNothingAway) {
    open();
    set("MarkersSeconds", "5");
    const std::string whole = readFile(camera.parameters());
    const fs::path other = camera.state() / "other";
    for (const std::string& content : {std::string(), whole.substr(0, whole.size() / 2 + 1)}) {
        writeFile(other, content);
        fs::rename(other, camera.parameters());
        EXPECT_EQ(get("MarkersSeconds"), "5");
        set("IsRequirePresent", content.empty() ? "true" : "false");
        EXPECT_THAT(readFile(camera.parameters()), HasSubstr("MarkersSeconds=5\n"));
    }
}

TEST_F(ParameterWriters, AFileThatIsBeingWrittenIsTakenOverLineByLine) {
    open();
    set("MarkersSeconds", "15");
    set("Markers0x", "7");
    overwrite(camera.parameters(), "# by another program\n"
                                   "root.Zerith_markers.New=1\n"
                                   "root.Zerith_markers.Markers0x=8\n"
                                   "root.Zerith_markers.MarkersSeconds=1");
    EXPECT_EQ(get("New"), "1");
    EXPECT_EQ(get("Markers0x"), "8");
    EXPECT_EQ(get("MarkersSeconds"), "15"); // it may become 16
    std::ofstream(camera.parameters(), std::ios::app) << "6\n";
    EXPECT_EQ(get("MarkersSeconds"), "16");
    set("IsRequirePresent", "true");
    EXPECT_THAT(readFile(camera.parameters()),
                AllOf(testing::StartsWith("# by another program\n"), HasSubstr("New=1\n"),
                      HasSubstr("Markers0x=8\n"), HasSubstr("MarkersSeconds=16\n")));
}

TEST_F(ParameterWriters, ALineWithoutItsEndCountsWhenTheParameterIsNew) {
    open();
    std::ofstream(camera.parameters(), std::ios::app) << "root.Zerith_markers.ByHand=yes";
    EXPECT_EQ(get("ByHand"), "yes");
    set("MarkersSeconds", "6");
    EXPECT_THAT(readFile(camera.parameters()), HasSubstr("ByHand=yes\n"));
}

TEST_F(ParameterWriters, AFileThatIsWrittenAgainAsItWasIsNoTrouble) {
    open();
    const std::string whole = readFile(camera.parameters());
    overwrite(camera.parameters(), whole);
    EXPECT_EQ(get("MarkersSeconds"), "0");
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(ParameterWriters, AParameterThatAnotherStoreRemovesIsGone) {
    open();
    ASSERT_TRUE(ax_parameter_add(handle, "Own", "mine", nullptr, error.out()));
    hostcam::ParameterStore other(*hostcam::currentConfig());
    other.remove("root.Zerith_markers.Own");
    EXPECT_EQ(codeOfGet("Own"), AX_PARAMETER_PARAM_EXIST_ERROR);
    set("MarkersSeconds", "6");
    EXPECT_THAT(readFile(camera.parameters()), testing::Not(HasSubstr("Own=")));
}

} // namespace
