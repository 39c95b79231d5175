#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/parameter_file.h"

namespace {

using hostcam::canonicalName;
using hostcam::escapeValue;
using hostcam::ParameterFile;
using hostcam::unescapeValue;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Read {
    std::vector<ParameterFile::Problem> problems;
    ParameterFile file;

    explicit Read(const std::string& text) : file(text, problems) {}
    [[nodiscard]] std::string value(const std::string& name) const {
        const std::string* const found = file.find(name);
        return found == nullptr ? "(none)" : *found;
    }
};

TEST(ParameterNames, BothCasesOfTheGroupsFirstLetterAreOneName) {
    EXPECT_EQ(canonicalName("root.zerith_markers.Seconds"), "root.Zerith_markers.Seconds");
    EXPECT_EQ(canonicalName("root.Zerith_markers.Seconds"), "root.Zerith_markers.Seconds");
    EXPECT_NE(canonicalName("root.Zerith_markers.seconds"), "root.Zerith_markers.Seconds");
}

TEST(ParameterNames, OnlyDottedNamesBelowRootAreNames) {
    for (const char* name :
         {"", "root", "root.", "root.A", "root.A.", "root..B", "A.B.C", ".root.A.B", "root.A B.C",
          "root.A.B=", "root.A.B\n", "root.\xC3\x84.B", "Root.A.B"}) {
        EXPECT_FALSE(canonicalName(name)) << name;
    }
    EXPECT_EQ(canonicalName("root.Image.I0.Appearance.Rotation"),
              "root.Image.I0.Appearance.Rotation");
}

TEST(ParameterValues, AreWrittenOnOneLineWithEscapes) {
    EXPECT_EQ(escapeValue("two\nlines"), "two\\nlines");
    EXPECT_EQ(escapeValue("C:\\new"), "C:\\\\new");
    EXPECT_EQ(escapeValue(" a b "), "\\x20a b\\x20");
    EXPECT_EQ(escapeValue("\r\t\x01\x7F"), "\\x0D\\x09\\x01\\x7F");
    EXPECT_EQ(escapeValue("1920x1080 \xC3\xA4 = \"quoted\" # all"),
              "1920x1080 \xC3\xA4 = \"quoted\" # all");
}

TEST(ParameterValues, AnyTextComesBackAsItWas) {
    constexpr unsigned kSeed = 20260101;
    SCOPED_TRACE("seed " + std::to_string(kSeed));
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> length(0, 12);
    std::uniform_int_distribution<int> any(1, 255);
    const std::string special = "\\xn \t\r\n=#0A";
    std::uniform_int_distribution<std::size_t> pick(0, special.size() - 1);
    for (int round = 0; round < 100000; ++round) {
        std::string value;
        for (int left = length(random); left > 0; --left) {
            value += round % 2 == 0 ? static_cast<char>(any(random)) : special[pick(random)];
        }
        std::vector<ParameterFile::Problem> problems;
        ParameterFile written;
        written.set("root.A.B", value);
        written.set("root.A.C", "after");
        const ParameterFile read(written.text(), problems);
        ASSERT_THAT(problems, IsEmpty()) << round;
        ASSERT_NE(read.find("root.A.B"), nullptr) << round;
        ASSERT_EQ(*read.find("root.A.B"), value) << round;
        ASSERT_EQ(*read.find("root.A.C"), "after") << round;
    }
}

TEST(ParameterValues, UnknownEscapesAndBareControlCharactersAreRefused) {
    using namespace std::string_literals;
    for (const std::string& text :
         {"\\"s, "\\q"s, "\\x"s, "\\x4"s, "\\xZZ"s, "\\x00"s, "a\x01"s, "\0"s}) {
        EXPECT_FALSE(unescapeValue(text)) << text;
    }
}

TEST(ParameterFile, KeepsTheOrderInWhichParametersWereMade) {
    ParameterFile file;
    file.set("root.A.Z", "1");
    file.set("root.A.B", "2");
    file.set("root.A.Z", "3");
    EXPECT_EQ(file.text(), "root.A.Z=3\nroot.A.B=2\n");
    EXPECT_THAT(file.names(), ElementsAre("root.A.Z", "root.A.B"));
}

TEST(ParameterFile, AcceptsWhatPeopleWriteByHand) {
    const Read read(
        "\xEF\xBB\xBF# mine\r\n\r\n  root.a.First = 12 \r\nroot.A.Empty=\nroot.A.Text=a = b # c\n");
    EXPECT_THAT(read.problems, IsEmpty());
    EXPECT_EQ(read.value("root.A.First"), "12");
    EXPECT_EQ(read.value("root.A.Empty"), "");
    EXPECT_EQ(read.value("root.A.Text"), "a = b # c");
    EXPECT_THAT(read.file.text(), HasSubstr("# mine"));
}

TEST(ParameterFile, NamesTheLineOfEachProblemAndKeepsItsText) {
    const std::string text =
        "root.A.B=1\nnonsense\nroot.A=2\nroot.A.C=\\q\n\x01\x02\n=3\nroot.A.D=4\n";
    const Read read(text);
    ASSERT_EQ(read.problems.size(), 5U);
    for (std::size_t at = 0; at < 5; ++at) {
        EXPECT_EQ(read.problems[at].line, at + 2);
        EXPECT_THAT(read.problems[at].text, HasSubstr("the line is kept as it is"));
    }
    EXPECT_EQ(read.value("root.A.B"), "1");
    EXPECT_EQ(read.value("root.A.D"), "4");
    EXPECT_EQ(read.file.text(), text);
}

TEST(ParameterFile, OfTwoLinesForOneParameterTheLaterHoldsAndBothAreKept) {
    Read read("root.A.B=1\nroot.a.B=2\n");
    ASSERT_EQ(read.problems.size(), 1U);
    EXPECT_THAT(read.problems[0].text, HasSubstr("root.A.B is given a second time"));
    EXPECT_EQ(read.value("root.A.B"), "2");
    EXPECT_EQ(read.file.text(), "root.A.B=1\nroot.A.B=2\n");
    read.file.set("root.A.B", "3");
    EXPECT_EQ(Read(read.file.text()).value("root.A.B"), "3");
    EXPECT_TRUE(read.file.remove("root.A.B"));
    EXPECT_EQ(read.file.text(), "");
}

TEST(ParameterFile, SaysWhenTheLastLineHasNoEnd) {
    const Read whole("root.A.B=1\nroot.A.C=2");
    ASSERT_EQ(whole.problems.size(), 1U);
    EXPECT_EQ(whole.problems[0].line, 2U);
    EXPECT_THAT(whole.problems[0].text, HasSubstr("may have been cut short"));
    EXPECT_EQ(whole.value("root.A.C"), "2");
    const Read half("root.A.B=1\nroot.A.");
    EXPECT_EQ(half.problems.size(), 2U);
    EXPECT_EQ(half.file.text(), "root.A.B=1\nroot.A.\n");
}

TEST(ParameterFile, SaysWhenItIsEmpty) {
    const Read read("");
    ASSERT_EQ(read.problems.size(), 1U);
    EXPECT_THAT(read.problems[0].text, HasSubstr("the file is empty"));
}

TEST(ParameterFile, ByteOrderMarksCountForNothingHoweverManyThereAre) {
    const Read empty("\xEF\xBB\xBF");
    ASSERT_EQ(empty.problems.size(), 1U);
    EXPECT_THAT(empty.problems[0].text, HasSubstr("empty"));
    const Read two("\xEF\xBB\xBF\xEF\xBB\xBFroot.A.B=1\n");
    EXPECT_THAT(two.problems, IsEmpty());
    EXPECT_EQ(two.value("root.A.B"), "1");
}

TEST(ParameterFile, RandomBytesAreNeverLostAndNeverHarmful) {
    constexpr unsigned kSeed = 7;
    SCOPED_TRACE("seed " + std::to_string(kSeed));
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> length(0, 60);
    const std::string alphabet = "root.A=\\x4n#\r\n \t\x01" + std::string(1, '\0');
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    for (int round = 0; round < 100000; ++round) {
        std::string text;
        for (int left = length(random); left > 0; --left) {
            text += alphabet[pick(random)];
        }
        const Read once(text);
        const Read twice(once.file.text());
        // What was kept is stable: the same parameters and the same lines after any number of
        // rounds.
        ASSERT_EQ(twice.file.text(), once.file.text()) << round;
        ASSERT_EQ(twice.file.names(), once.file.names()) << round;
    }
}

} // namespace
