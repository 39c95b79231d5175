// Texts of others on their way through the running program: submitted log lines, names of actions
// and settings, to the log file, the answers of the web API, the stored parameters and the camera's
// list of them. They stay what they are, and the next request is served.

#include <string>
#include <vector>

#include "tests/integration/running_service.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing_support::HttpClient;
using testing_support::kDone;
using testing_support::plainText;
using testing_support::ServiceTest;

namespace {

/// What may stand in an element: anything but "<".
const std::vector<std::string> kTexts = {"%s%n%x%p%99999d",
                                         "&lt;img src=x onerror=alert(1)&gt; ]]> --> \"'",
                                         "\x01\x07\b\t\r\x1b]0;title\x07\x1b[2J\x7f",
                                         "\xff\xfe\xc3( \xed\xa0\x80 \xf8\x88\x80\x80\x80",
                                         "\xe2\x80\xae"
                                         "abc \xe2\x80\xa8 \xc2\x85",
                                         "{\"active\":true},\\u0000\\",
                                         "$(reboot)`reboot`;reboot",
                                         std::string(300000, 'x')};

class WebHostileTest : public ServiceTest {
  protected:
    /// Nothing ticks, so nothing else is logged.
    void beginStill() {
        m_program.storeDemonstrationSettings(320, 180);
        m_program.store("EulaAccepted", "false");
        begin();
    }

    static std::string submission(const std::string& text) {
        return "<root><log_severity>error</log_severity><log_entry>" + text + "</log_entry></root>";
    }

    void expectService() { EXPECT_EQ(get("get_status_code"), plainText("408")); }
};

TEST_F(WebHostileTest, ASubmittedLogLineIsThatLineInTheFileAndInBothAnswers) {
    beginStill();
    for (const std::string& text : kTexts) {
        ASSERT_EQ(get("clear_logfile"), plainText("Log file cleared."));
        EXPECT_EQ(post("post_submit_log", submission(text)), kDone);
        EXPECT_THAT(m_program.log(), EndsWith("|zerith_markers|error|" + text + "\n"));
        EXPECT_EQ(get("get_logfile_as_serialized_text"), plainText(m_program.log()));
        EXPECT_THAT(get("get_logfile_as_plain_text"),
                    EndsWith(" zerith_markers error " + text + "\n"));
    }
    expectService();
}

TEST_F(WebHostileTest, ASubmittedZeroByteHidesNothingThatIsLoggedAfterIt) {
    beginStill();
    EXPECT_EQ(post("post_submit_log", submission(std::string("before\0after", 12))), kDone);
    EXPECT_EQ(post("post_submit_log", submission("later")), kDone);
    EXPECT_THAT(get("get_logfile_as_serialized_text"),
                testing::AllOf(HasSubstr("|error|beforeafter\n"), EndsWith("|error|later\n")));
}

TEST_F(WebHostileTest, TheNameOfAnUnknownActionIsLoggedAsItIsAndNotAnswered) {
    beginStill();
    for (const std::string action :
         {"%25s%25n", "%3Cscript%3Ealert(1)%3C/script%3E", "%1b%5b2J%07", "%ff%fe",
          "a%0d%0aSet-Cookie:%20x", "..%2f..%2fetc%2fpasswd"}) {
        const std::string answer = get(action);
        EXPECT_EQ(answer, "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
    }
    EXPECT_EQ(logged("requested: %s%n\n"), 1);
    EXPECT_EQ(logged("requested: <script>alert(1)</script>\n"), 1);
    EXPECT_EQ(logged("requested: \x1b[2J\x07\n"), 1);
    EXPECT_EQ(logged("requested: \xff\xfe\n"), 1);
    expectService();
}

TEST_F(WebHostileTest, AMethodIsNamedInTheAnswerAsItIsAndMakesNoFormat) {
    beginStill();
    for (const std::string method : {"%s%n", "<b>", "\x1b[2J", "\xff"}) {
        EXPECT_EQ(ask(request(method, "?action=get_status_code")),
                  "Only GET and POST supported. Method " + method + " not supported");
    }
    expectService();
}

TEST_F(WebHostileTest, ASettingIsOneLineOfTheStoredParametersAndOfTheCamerasList) {
    const std::uint16_t port = testing_support::freePort();
    m_program.configure("http", "port", std::to_string(port));
    beginStill();
    std::string document = get("get_all_parameters");
    HttpClient camera;
    const std::string list =
        "http://127.0.0.1:" + std::to_string(port) +
        "/axis-cgi/param.cgi?action=list&group=Zerith_markers.SelectedDictionary";
    for (const std::string& text : kTexts) {
        std::string payload = "<root><Markers_Secs>3</Markers_Secs><SelectedDictionary>" + text +
                              "\nroot.Zerith_markers.EulaAccepted=true</SelectedDictionary>";
        for (int i = 0; i < 8; ++i) {
            payload += "<Detection1_" + std::to_string(i) + ">1";
        }
        ASSERT_EQ(post("set_post_parameters", payload + "</root>"), kDone);
        EXPECT_THAT(get("get_all_parameters"),
                    HasSubstr("<SelectedDictionary>" + text +
                              "\nroot.Zerith_markers.EulaAccepted=true</SelectedDictionary>"));
        const auto answer = camera.get(list);
        EXPECT_EQ(answer.status, 200) << answer.problem;
        EXPECT_THAT(answer.body, testing::StartsWith("root.Zerith_markers.SelectedDictionary="));
        // One line: the text's own control characters are blanks there.
        EXPECT_EQ(answer.body.find('\n'), answer.body.size() - 1);
        EXPECT_EQ(m_program.stored("EulaAccepted"), "false");
    }
    expectService();
}

} // namespace
