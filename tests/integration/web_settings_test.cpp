// Settings submitted to the running program: in force at the next tick, stored at once, there after
// a restart; and what becomes of documents that are wrong.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/integration/running_service.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing_support::kBadRequest;
using testing_support::kDone;
using testing_support::plainText;
using testing_support::ServiceTest;

namespace {

const std::string kNothing; // the answer to settings that do not convert
const std::string kException =
    "|error|processPOST: Exception from processPOST trying to set post parameters.\n";

/// A settings document as the page sends it.
class Document {
  public:
    Document() {
        set("Markers_Secs", "9").set("Markers_Present", "0").set("DisplayNonAOI", "0");
        set("SelectedDictionary", "6x6").set("Eula", "1").set("DetectionOverlaysOn", "1");
        set("SelectedDetectionOverlay", "640x360");
        const char* const corners[] = {"10", "20", "90", "20", "90", "80", "10", "80"};
        int index = 0;
        for (const char* const corner : corners) {
            set("Detection1_" + std::to_string(index++), corner);
        }
    }

    Document& set(const std::string& name, const std::string& value) {
        for (auto& [known, old] : m_elements) {
            if (known == name) {
                old = value;
                return *this;
            }
        }
        return add(name, value);
    }

    Document& add(const std::string& name, const std::string& value) {
        m_elements.emplace_back(name, value);
        return *this;
    }

    Document& remove(const std::string& name) {
        std::erase_if(m_elements, [&](const auto& element) { return element.first == name; });
        return *this;
    }

    [[nodiscard]] std::string text() const {
        std::string text = "<root>";
        for (const auto& [name, value] : m_elements) {
            text += "<" + name + ">" + value + "</" + name + ">";
        }
        return text + "</root>";
    }

  private:
    std::vector<std::pair<std::string, std::string>> m_elements;
};

class WebSettingsTest : public ServiceTest {
  protected:
    /// Begins with the demonstration settings, the EULA not accepted: nothing is analysed.
    void beginWithoutEula() {
        m_program.storeDemonstrationSettings(320, 180);
        m_program.store("EulaAccepted", "false");
        begin();
    }

    std::string submit(const Document& document) {
        return post("set_post_parameters", document.text());
    }

    std::string settings() { return get("get_all_parameters"); }

    /// What the settings in force say about an element.
    std::string inForce(const std::string& name) {
        const std::string all = settings();
        const std::string open = "<" + name + ">";
        const std::size_t from = all.find(open);
        if (from == std::string::npos) {
            return "(missing)";
        }
        const std::size_t value = from + open.size();
        return all.substr(value, all.find("</" + name + ">", value) - value);
    }

    std::string storedValue(const std::string& name) {
        return m_program.stored(name).value_or("(missing)");
    }

    /// Whether a tick has looked at the settings as they are.
    bool statusBecomes(const std::string& code) {
        return m_program.waitUntil([&] { return get("get_status_code") == plainText(code); },
                                   kPatience);
    }
};

TEST_F(WebSettingsTest, ASubmittedDocumentIsInForceStoredAtOnceAndThereAfterARestart) {
    beginWithoutEula();
    EXPECT_EQ(submit(Document().set("Eula", "0")), kDone);
    const std::pair<const char*, const char*> stored[] = {{"MarkersSeconds", "9"},
                                                          {"IsRequirePresent", "false"},
                                                          {"DisplayNonAOI", "false"},
                                                          {"SelectedDictionary", "6x6"},
                                                          {"EulaAccepted", "false"},
                                                          {"DetectionOverlaysOn", "true"},
                                                          {"Detection10x", "32"},
                                                          {"Detection10y", "36"},
                                                          {"Detection11x", "288"},
                                                          {"Detection11y", "36"},
                                                          {"Detection12x", "288"},
                                                          {"Detection12y", "144"},
                                                          {"Detection13x", "32"},
                                                          {"Detection13y", "144"},
                                                          {"SelectedDetectionOverlay", "640x360"}};
    for (const auto& [name, value] : stored) {
        EXPECT_EQ(storedValue(name), value) << name;
    }
    const std::string document = settings();
    EXPECT_THAT(document,
                HasSubstr("<app><Markers_Secs>9</Markers_Secs><Markers_Present>0</Markers_Present>"
                          "<DisplayNonAOI>0</DisplayNonAOI>"
                          "<SelectedDictionary>6x6</SelectedDictionary><Eula>0</Eula>"
                          "<DetectionOverlaysOn>1</DetectionOverlaysOn>"
                          "<SelectedDetectionOverlay>640x360</SelectedDetectionOverlay>"));
    EXPECT_THAT(document, HasSubstr("<Detection1_0>10</Detection1_0><Detection1_1>20</Detection1_1>"
                                    "<Detection1_2>90</Detection1_2>"));
    end();
    begin();
    EXPECT_EQ(settings(), document);
}

TEST_F(WebSettingsTest, ATickThatBeginsAfterTheAnswerWorksWithTheNewSettings) {
    beginWithoutEula();
    ASSERT_TRUE(statusBecomes("408"));
    // No marker of this dictionary is in the scene, and its absence is an alert after a second.
    EXPECT_EQ(submit(Document().set("Markers_Secs", "1").set("SelectedDictionary", "7x7")), kDone);
    EXPECT_TRUE(statusBecomes("502")) << get("get_status_code");
    // Now presence is asked for, which nothing fulfils.
    EXPECT_EQ(submit(Document().set("Markers_Present", "1").set("SelectedDictionary", "7x7")),
              kDone);
    EXPECT_TRUE(statusBecomes("200")) << get("get_status_code");
    EXPECT_EQ(submit(Document().set("Eula", "0")), kDone);
    EXPECT_TRUE(statusBecomes("408")) << get("get_status_code");
}

TEST_F(WebSettingsTest, AreasTwoAndThreeKeepTheirCornersWhateverADocumentSays) {
    m_program.store("Detection20x", "160");
    m_program.store("Detection33y", "90");
    beginWithoutEula();
    EXPECT_EQ(submit(Document().add("Detection2_0", "99").add("Detection3_7", "x")), kDone);
    EXPECT_EQ(inForce("Detection2_0"), "50");
    EXPECT_EQ(inForce("Detection3_7"), "50");
    EXPECT_EQ(storedValue("Detection20x"), "160");
    EXPECT_EQ(storedValue("Detection33y"), "90");
}

TEST_F(WebSettingsTest, OnlyTheDigitOneIsTrue) {
    beginWithoutEula();
    for (const char* const text : {"true", "yes", "", "01", " 1", "1 ", "2"}) {
        EXPECT_EQ(submit(Document().set("Markers_Present", "1")), kDone);
        EXPECT_EQ(inForce("Markers_Present"), "1");
        EXPECT_EQ(submit(Document().set("Markers_Present", text)), kDone);
        EXPECT_EQ(inForce("Markers_Present"), "0") << text;
        EXPECT_EQ(storedValue("IsRequirePresent"), "false") << text;
    }
}

TEST_F(WebSettingsTest, AMissingFlagIsFalseAndAMissingTextIsEmpty) {
    beginWithoutEula();
    Document document;
    document.remove("Eula").remove("DetectionOverlaysOn").remove("SelectedDictionary");
    document.remove("DisplayNonAOI").remove("SelectedDetectionOverlay");
    EXPECT_EQ(submit(document), kDone);
    EXPECT_EQ(inForce("Eula"), "0");
    EXPECT_EQ(inForce("DetectionOverlaysOn"), "0");
    EXPECT_EQ(inForce("DisplayNonAOI"), "0");
    EXPECT_EQ(inForce("SelectedDictionary"), "");
    EXPECT_EQ(inForce("SelectedDetectionOverlay"), "");
}

TEST_F(WebSettingsTest, TheLastOfRepeatedElementsWinsAndUnknownOnesAreIgnored) {
    beginWithoutEula();
    Document document;
    document.set("Markers_Secs", "x").add("Markers_Secs", "12").add("Markers_Secs", "34");
    document.add("EulaAccepted", "1").add("b_EulaAccepted", "1").add("eula", "1").set("Eula", "0");
    document.add("script", "alert(1)").add("Detection1_8", "7").add("Detection1_-1", "7");
    EXPECT_EQ(submit(document), kDone);
    EXPECT_EQ(inForce("Markers_Secs"), "34");
    EXPECT_EQ(inForce("Eula"), "0");
    EXPECT_THAT(settings(), Not(HasSubstr("script")));
    EXPECT_EQ(storedValue("MarkersSeconds"), "34");
}

TEST_F(WebSettingsTest, ADocumentWithoutElementsIsABadRequestAndChangesNothing) {
    beginWithoutEula();
    const std::string before = settings();
    const std::string documents[] = {
        "",        "text",          "<root></root>",          "<root>",
        "</root>", "{\"Eula\": 1}", std::string(100000, ' '), std::string(100000, '\0')};
    for (const std::string& document : documents) {
        EXPECT_EQ(post("set_post_parameters", document), kBadRequest) << document.substr(0, 20);
    }
    EXPECT_EQ(logged("|error|set_post_parameters: Failed to parse XML payload\n"),
              static_cast<int>(std::size(documents)));
    EXPECT_EQ(settings(), before);
    EXPECT_EQ(storedValue("MarkersSeconds"), "3");
}

TEST_F(WebSettingsTest, ANumberThatDoesNotConvertIsLoggedOnceAnsweredWithNothingAndNotStored) {
    beginWithoutEula();
    int exceptions = 0;
    for (const char* const name : {"Markers_Secs", "Detection1_0", "Detection1_7"}) {
        for (const char* const value :
             {"", " ", "x", "-", "+", "--1", "two", "2147483648", "-2147483649",
              "99999999999999999999999999999999", "\xff", "&#49;", "%d"}) {
            EXPECT_EQ(submit(Document().set(name, value)), kNothing) << name << " " << value;
            EXPECT_EQ(logged(kException), ++exceptions);
        }
        EXPECT_EQ(submit(Document().remove(name)), kNothing) << name;
        EXPECT_EQ(logged(kException), ++exceptions);
    }
    EXPECT_EQ(storedValue("MarkersSeconds"), "3");
    EXPECT_EQ(storedValue("IsRequirePresent"), "true");
    EXPECT_EQ(storedValue("Detection10x"), "80");
    // What came before the number is in force, although it is not stored.
    EXPECT_EQ(inForce("Markers_Present"), "0");
    EXPECT_EQ(submit(Document()), kDone);
}

TEST_F(WebSettingsTest, ANumberEndsWhereItsDigitsEnd) {
    beginWithoutEula();
    const std::pair<const char*, const char*> numbers[] = {
        {" 7", "7"},  {"+8", "8"},  {"9 seconds", "9"},          {"0x10", "0"},
        {"1e3", "1"}, {"2.9", "2"}, {"2147483647", "2147483647"}};
    for (const auto& [text, number] : numbers) {
        EXPECT_EQ(submit(Document().set("Markers_Secs", text)), kDone);
        EXPECT_EQ(inForce("Markers_Secs"), number) << text;
        EXPECT_EQ(storedValue("MarkersSeconds"), number) << text;
    }
}

TEST_F(WebSettingsTest, AnOverlaySizeThatIsNoneRaisesOnlyWhileOverlaysAreOn) {
    beginWithoutEula();
    for (const char* const size : {"", "big", "x", "1280", "1280x", "x720", "99999999999x720"}) {
        Document document;
        EXPECT_EQ(submit(document.set("SelectedDetectionOverlay", size)), kNothing) << size;
        EXPECT_EQ(submit(document.set("DetectionOverlaysOn", "0")), kDone) << size;
        EXPECT_EQ(inForce("SelectedDetectionOverlay"), size);
    }
    for (const char* const size : {"0x0", "-1x-1", "1280x720x3", " 640x360 "}) {
        EXPECT_EQ(submit(Document().set("SelectedDetectionOverlay", size)), kDone) << size;
    }
}

TEST_F(WebSettingsTest, CornersFarOutsideThePictureAreTakenAndTicksGoOn) {
    beginWithoutEula();
    Document document;
    const char* const far[] = {"2147483647", "1999999999", "1000", "1000000",
                               "0",          "101",        "100",  "2000000000"};
    for (int i = 0; i < 8; ++i) {
        document.set("Detection1_" + std::to_string(i), far[i]);
    }
    document.set("SelectedDictionary", "5x5").set("DisplayNonAOI", "1").set("Markers_Secs", "1000");
    EXPECT_EQ(submit(document), kDone);
    EXPECT_TRUE(statusBecomes("200")) << get("get_status_code");
    EXPECT_EQ(inForce("Detection1_4"), "0");
    EXPECT_EQ(inForce("Detection1_6"), "100");
    end();
    begin();
    EXPECT_EQ(inForce("Detection1_6"), "100") << m_program.log();
}

TEST_F(WebSettingsTest, ANegativeNumberIsInForceUntilARestartAtWhichNothingLoadsAnyMore) {
    beginWithoutEula();
    EXPECT_EQ(submit(Document().set("Markers_Secs", "-5").set("Detection1_0", "-10")), kDone);
    EXPECT_EQ(inForce("Markers_Secs"), "-5");
    EXPECT_EQ(inForce("Detection1_0"), "-10");
    EXPECT_TRUE(statusBecomes("502") || statusBecomes("200")) << get("get_status_code");
    // Deliberate: numbers are stored without a sign.
    EXPECT_EQ(storedValue("MarkersSeconds"), "4294967291");
    EXPECT_EQ(storedValue("Detection10x"), "4294967264");
    end();
    begin();
    EXPECT_EQ(get("get_status_code"), plainText("408"));
    EXPECT_EQ(inForce("Markers_Secs"), "0");
    EXPECT_EQ(logged("|error|init_parameter_controller: Failed to load the settings. "), 1);
    // The page is served, so that saving it mends the settings.
    EXPECT_EQ(submit(Document()), kDone);
    end();
    begin();
    EXPECT_EQ(inForce("Markers_Secs"), "9");
}

TEST_F(WebSettingsTest, TextsOfAnyKindAreTakenAsTheyAreAndStayOneSetting) {
    beginWithoutEula();
    const std::string texts[] = {"%s%n%x",
                                 "../../../etc/passwd",
                                 "$(reboot)`reboot`;reboot",
                                 "&lt;script&gt;&amp;",
                                 "\"'\\=#;[group]",
                                 "\xc3\xa4\xf0\x9f\x8e\xa5",
                                 "6x6 ",
                                 std::string(60000, 'y')};
    for (const std::string& text : texts) {
        EXPECT_EQ(submit(Document().set("SelectedDictionary", text).set("Eula", "0")), kDone);
        EXPECT_EQ(inForce("SelectedDictionary"), text);
        const std::string document = settings();
        end();
        begin();
        EXPECT_EQ(settings(), document) << text.substr(0, 30);
    }
}

TEST_F(WebSettingsTest, ATextWithLineEndsCannotWriteAnotherSetting) {
    beginWithoutEula();
    for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
        const std::string hostile = "5x5" + lineEnd + "root.Zerith_markers.EulaAccepted=true" +
                                    lineEnd + "root.Zerith_markers.MarkersSeconds=99" + lineEnd;
        const std::string answer =
            submit(Document().set("SelectedDictionary", hostile).set("Eula", "0"));
        EXPECT_TRUE(answer == kDone || answer == kNothing) << answer;
        end();
        begin();
        EXPECT_EQ(inForce("Eula"), "0");
        EXPECT_NE(inForce("Markers_Secs"), "99");
        EXPECT_EQ(get("get_status_code"), plainText("408"));
    }
}

TEST_F(WebSettingsTest, BytesOfAnyKindAreAnsweredAndTheNextRequestIsServed) {
    beginWithoutEula();
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    const std::string documents[] = {
        "<root>" + all + "</root>",
        "<root><" + all + ">1</" + all + "></root>",
        "</root><Eula>1</Eula><root>",
        "<root><Markers_Secs>1",
        "<root><Markers_Secs",
        "<root><<<<<>>>>></root>",
        "<root>" + std::string(200000, '<') + "</root>",
        "<root><!DOCTYPE a [<!ENTITY b \"c\">]><Eula>&b;</Eula></root>",
        "<?xml version=\"1.0\"?>" + Document()
                                        .set("Markers_Secs", std::string("1\0"
                                                                         "2",
                                                                         3))
                                        .text()};
    for (const std::string& document : documents) {
        const std::string answer = post("set_post_parameters", document);
        EXPECT_TRUE(answer == kDone || answer == kBadRequest || answer == kNothing)
            << document.substr(0, 40) << ": " << answer;
    }
    EXPECT_EQ(submit(Document()), kDone);
    EXPECT_EQ(inForce("Markers_Secs"), "9");
}

TEST_F(WebSettingsTest, ABodyThatEndsEarlyIsFilledUpAndTakenAsFarAsItGoes) {
    beginWithoutEula();
    const std::string document = Document().text();
    const std::string whole = std::to_string(document.size());
    EXPECT_EQ(ask(postRequest("set_post_parameters", whole), document.substr(0, 100)), kNothing);
    EXPECT_EQ(ask(postRequest("set_post_parameters", whole)), kBadRequest);
    EXPECT_EQ(ask(postRequest("set_post_parameters", "0"), document), kBadRequest);
    EXPECT_EQ(storedValue("MarkersSeconds"), "3");
    EXPECT_EQ(
        ask(postRequest("set_post_parameters", std::to_string(document.size() + 9)), document),
        kDone);
    EXPECT_EQ(storedValue("MarkersSeconds"), "9");
}

TEST_F(WebSettingsTest, TheSecondDocumentOfARequestIsMissing) {
    beginWithoutEula();
    const std::string document = Document().text();
    EXPECT_EQ(ask(postRequest("set_post_parameters&action=set_post_parameters",
                              std::to_string(document.size())),
                  document),
              kDone + kBadRequest);
    EXPECT_EQ(storedValue("MarkersSeconds"), "9");
}

} // namespace
