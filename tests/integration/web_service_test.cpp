// The web API of the running program: what every action answers, byte for byte on its socket and as
// a browser sees it through a real web server.

#include <initializer_list>
#include <string>
#include <utility>

#include "tests/integration/running_service.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing_support::HttpAnswer;
using testing_support::kBadRequest;
using testing_support::kDone;
using testing_support::plainText;
using testing_support::ServiceTest;
using testing_support::WebServerTest;

namespace {

const std::string kNoEula = "EULA has not been accepted (if EULA is not shown, press Ctrl+F5)";

/// The document of the demonstration settings on pictures of 320x180.
const std::string kDemonstration =
    "<app><Markers_Secs>3</Markers_Secs><Markers_Present>1</Markers_Present>"
    "<DisplayNonAOI>1</DisplayNonAOI><SelectedDictionary>5x5</SelectedDictionary><Eula>0</Eula>"
    "<DetectionOverlaysOn>1</DetectionOverlaysOn>"
    "<SelectedDetectionOverlay>1280x720</SelectedDetectionOverlay>"
    "<CamsResAsCsv>320x180,</CamsResAsCsv>"
    "<Detection1_0>25</Detection1_0><Detection1_1>25</Detection1_1>"
    "<Detection1_2>75</Detection1_2><Detection1_3>25</Detection1_3>"
    "<Detection1_4>75</Detection1_4><Detection1_5>75</Detection1_5>"
    "<Detection1_6>25</Detection1_6><Detection1_7>75</Detection1_7>"
    "<Detection2_0>0</Detection2_0><Detection2_1>0</Detection2_1>"
    "<Detection2_2>0</Detection2_2><Detection2_3>0</Detection2_3>"
    "<Detection2_4>0</Detection2_4><Detection2_5>0</Detection2_5>"
    "<Detection2_6>0</Detection2_6><Detection2_7>0</Detection2_7>"
    "<Detection3_0>0</Detection3_0><Detection3_1>0</Detection3_1>"
    "<Detection3_2>0</Detection3_2><Detection3_3>0</Detection3_3>"
    "<Detection3_4>0</Detection3_4><Detection3_5>0</Detection3_5>"
    "<Detection3_6>0</Detection3_6><Detection3_7>0</Detection3_7></app>";

std::string logEntry(const std::string& severity, const std::string& text) {
    return "<root><log_severity>" + severity + "</log_severity><log_entry>" + text +
           "</log_entry></root>";
}

/// Nothing ticks, so the status and the log stay as they are.
void stayStill(testing_support::ApplicationProcess& program) {
    program.storeDemonstrationSettings(320, 180);
    program.store("EulaAccepted", "false");
}

class WebSocketTest : public ServiceTest {
  protected:
    void beginStill() {
        stayStill(m_program);
        begin();
    }
};

TEST_F(WebSocketTest, EachPlainActionAnswersItsTextByteForByte) {
    beginStill();
    EXPECT_EQ(get("get_status_string"), plainText(kNoEula));
    EXPECT_EQ(get("get_is_portrait"), plainText("0"));
    EXPECT_EQ(get("get_status_code"), plainText("408"));
    EXPECT_EQ(get("get_aspect_ratio"), plainText("16:9"));
    EXPECT_EQ(get("get_application_resolution"), plainText("1280x720"));
}

TEST_F(WebSocketTest, SettingsAreAnsweredAsOneLineOfXml) {
    beginStill();
    EXPECT_EQ(get("get_all_parameters"),
              "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\n" + kDemonstration);
}

TEST_F(WebSocketTest, APortraitCameraOfAnotherShapeAnswersSo) {
    m_program.configure("camera", "resolutions", "320x240");
    m_program.configure("camera", "aspect-ratio", "4:3");
    m_program.configure("camera", "rotation", "270");
    begin();
    EXPECT_EQ(get("get_is_portrait"), plainText("1"));
    EXPECT_EQ(get("get_aspect_ratio"), plainText("4:3"));
    EXPECT_EQ(get("get_application_resolution"), plainText("768x1024"));
}

TEST_F(WebSocketTest, TheLogIsAnsweredWithBarsAndForPeopleAndCleared) {
    beginStill();
    EXPECT_THAT(get("get_logfile_as_serialized_text"),
                AllOf(HasSubstr("|zerith_markers|warning|STARTING zerith_markers\n"),
                      HasSubstr("|zerith_markers|info|init: Socket: ")));
    EXPECT_EQ(get("clear_logfile"), plainText("Log file cleared."));
    EXPECT_EQ(get("get_logfile_as_plain_text"), plainText(""));
    EXPECT_EQ(m_program.log(), "");

    EXPECT_EQ(post("post_submit_log", logEntry("error", "100%s & more")), kDone);
    const std::string date = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
    EXPECT_THAT(m_program.log(), MatchesRegex(date + "\\|zerith_markers\\|error\\|100%s & more\n"));
    EXPECT_EQ(get("get_logfile_as_serialized_text"), plainText(m_program.log()));
    EXPECT_THAT(get("get_logfile_as_plain_text"),
                MatchesRegex("Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n" + date +
                             " zerith_markers error 100%s & more\n"));
}

TEST_F(WebSocketTest, TheAlertByHandIsAnEventAndAnswersNothing) {
    beginStill();
    const std::size_t before = m_program.journal().size();
    EXPECT_EQ(get("manual_markers_alert_on"), kDone);
    EXPECT_EQ(get("manual_markers_alert_off"), kDone);

    ASSERT_TRUE(
        m_program.waitUntil([&] { return m_program.journal().size() >= before + 2; }, kPatience));
    const auto journal = m_program.journal();
    EXPECT_THAT(journal[before],
                AllOf(HasSubstr("ZerithMarkersAlert"), HasSubstr("\"active\":true")));
    EXPECT_THAT(journal[before + 1],
                AllOf(HasSubstr("ZerithMarkersAlert"), HasSubstr("\"active\":false")));
}

TEST_F(WebSocketTest, AnUnknownActionIsAnsweredWithTwoStatusLinesAndLoggedOnce) {
    beginStill();
    EXPECT_EQ(get("make_coffee"),
              "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
    EXPECT_EQ(logged("|error|processGET: Invalid fastcgi webservice action requested: "
                     "make_coffee\n"),
              1);
}

TEST_F(WebSocketTest, AnActionWithoutAValueIsABadRequest) {
    beginStill();
    EXPECT_EQ(ask(request("GET", "?action")), kBadRequest);
    EXPECT_EQ(get(""), "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
}

TEST_F(WebSocketTest, SeveralActionsAreAnsweredOneAfterTheOtherInOneResponse) {
    beginStill();
    EXPECT_EQ(
        ask(request("GET", "?action=get_status_code&x=1&action=nothing&action=get_is_portrait")),
        plainText("408") + "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action" +
            plainText("0"));
}

TEST_F(WebSocketTest, OtherMethodsAreAnsweredWithTheirName) {
    beginStill();
    for (const std::string method : {"PUT", "DELETE", "HEAD", "get", "%s%n"}) {
        EXPECT_EQ(ask(request(method, "?action=get_status_code")),
                  "Only GET and POST supported. Method " + method + " not supported");
    }
}

TEST_F(WebSocketTest, RequestsWithoutAnActionOrSenseAreAnsweredWithABareTextOrNothing) {
    beginStill();
    EXPECT_EQ(ask(request("GET", "")), "Failed to parse query");
    EXPECT_EQ(ask(request("GET", "?")), "");
    EXPECT_EQ(ask(request("GET", "?other=get_status_code")), "");
    EXPECT_EQ(ask(request("GET", "?action=%zz")), "Failed to parse URI");
    EXPECT_EQ(ask({{"REQUEST_METHOD", "GET"}, {"REQUEST_URI", "http://[::1"}}),
              "Failed to parse URI");
    EXPECT_EQ(ask({{"REQUEST_METHOD", "GET"}, {"REQUEST_URI", "/a b?action=get_status_code"}}),
              "Failed to parse URI");
    EXPECT_EQ(ask({{"REQUEST_METHOD", "GET"}}), "Failed to parse URI");
    EXPECT_EQ(ask({}), "Failed to parse URI");
    EXPECT_EQ(get("get_status_code"), plainText("408"));
}

TEST_F(WebSocketTest, AQueryOf50000CharactersIsTakenApart) {
    beginStill();
    std::string query = "?filler=" + std::string(50000, 'x') + "&action=get_status_code";
    EXPECT_EQ(ask(request("GET", query)), plainText("408"));
}

TEST_F(WebSocketTest, ALengthThatIsNoneIsABadRequestAndTheNextRequestIsServed) {
    beginStill();
    const std::string body = logEntry("error", "not to be logged");
    for (const std::string length :
         {"", "-1", "-0", "abc", "12abc", "1e2", "0x10", "1048577", "2147483648", "4294967297",
          "18446744073709551617", "99999999999999999999999999"}) {
        EXPECT_EQ(ask(postRequest("post_submit_log", length), body), kBadRequest) << length;
    }
    EXPECT_EQ(ask(request("POST", "?action=post_submit_log"), body), kBadRequest);
    EXPECT_EQ(logged("not to be logged"), 0);
    EXPECT_EQ(logged("|error|performAction: POST request without a valid CONTENT_LENGTH\n"), 13);
    EXPECT_EQ(get("get_status_code"), plainText("408"));
}

TEST_F(WebSocketTest, ALengthWithLeadingBlanksOrAPlusIsTheNumberThatItSays) {
    beginStill();
    const std::string body = logEntry("error", "sent with an odd length");
    const std::string length = std::to_string(body.size());
    for (const std::string& odd : {" " + length, "+" + length, "\t +" + length, "00" + length}) {
        EXPECT_EQ(ask(postRequest("post_submit_log", odd), body), kDone) << odd;
    }
    EXPECT_EQ(logged("|error|sent with an odd length\n"), 4);
}

TEST_F(WebSocketTest, ABodyIsReadToItsLengthAndFilledUpWhenItEndsEarly) {
    beginStill();
    const std::string body = logEntry("error", "early");
    // The end of the document is not needed, and what follows the length is not read.
    EXPECT_EQ(ask(postRequest("post_submit_log", std::to_string(body.size() - 19)), body), kDone);
    EXPECT_EQ(ask(postRequest("post_submit_log", std::to_string(body.size() + 100)), body), kDone);
    EXPECT_EQ(logged("|error|early\n"), 2);
    EXPECT_EQ(ask(postRequest("post_submit_log", "3")), kBadRequest);
    EXPECT_EQ(ask(postRequest("post_submit_log", "1048576")), kBadRequest);
    EXPECT_EQ(get("get_status_code"), plainText("408"));
}

TEST_F(WebSocketTest, SubmittedLogLinesStandInTheLogFileAtTheirSeverity) {
    beginStill();
    EXPECT_EQ(post("post_submit_log", logEntry("info", "from the page: 1")), kDone);
    EXPECT_EQ(post("post_submit_log", logEntry("warning", "from the page: 2")), kDone);
    EXPECT_EQ(post("post_submit_log", logEntry("error", "from the page: 3")), kDone);
    for (const char* unknown : {"debug", "Error", "", " info"}) {
        EXPECT_EQ(post("post_submit_log", logEntry(unknown, "from the page: 4")), kDone);
    }
    EXPECT_EQ(post("post_submit_log", "<root><log_entry>from the page: 5</log_entry></root>"),
              kDone);
    EXPECT_EQ(post("post_submit_log", ""), kBadRequest);
    EXPECT_EQ(post("post_submit_log", "no elements"), kBadRequest);
    EXPECT_EQ(post("post_submit_log", "<root></root>"), kBadRequest);

    EXPECT_THAT(m_program.log(), HasSubstr("|info|from the page: 1\n"));
    EXPECT_EQ(logged("|warning|from the page: 2\n"), 1);
    EXPECT_EQ(logged("|error|from the page: 3\n"), 1);
    EXPECT_EQ(logged("from the page: 4"), 0);
    EXPECT_EQ(logged("from the page: 5"), 0);
    EXPECT_EQ(logged("|error|add_post_submit_log: Failed to parse XML payload\n"), 3);
}

TEST_F(WebSocketTest, AnUnknownPostActionIsAnsweredWithoutAStatus) {
    beginStill();
    EXPECT_EQ(post("get_status_code", "<root><a>1</a></root>"), "\r\n");
    EXPECT_EQ(get("set_post_parameters"),
              "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
}

// Through the web server.

class BehindWebServerTest : public WebServerTest {
  protected:
    void beginStill() {
        stayStill(m_program);
        begin();
    }

    static void expectAnswer(const HttpAnswer& answer, long status, const std::string& type,
                             const std::string& body) {
        EXPECT_EQ(answer.problem, "");
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.header("Content-Type"), type);
        EXPECT_EQ(answer.body, body);
    }
};

TEST_F(BehindWebServerTest, EachActionReachesABrowser) {
    beginStill();
    const std::string kText = "text/plain";
    expectAnswer(web("get_status_string"), 200, kText, kNoEula);
    expectAnswer(web("get_is_portrait"), 200, kText, "0");
    expectAnswer(web("get_status_code"), 200, kText, "408");
    expectAnswer(web("get_aspect_ratio"), 200, kText, "16:9");
    expectAnswer(web("get_application_resolution"), 200, kText, "1280x720");
    expectAnswer(web("get_all_parameters"), 200, "text/xml", kDemonstration);
    expectAnswer(web("clear_logfile"), 200, kText, "Log file cleared.");
    expectAnswer(webPost("post_submit_log", logEntry("error", "through the web")), 200, "", "");
    expectAnswer(web("get_logfile_as_serialized_text"), 200, kText, m_program.log());
    EXPECT_THAT(web("get_logfile_as_plain_text").body,
                EndsWith(" zerith_markers error through the web\n"));
    const std::size_t before = m_program.journal().size();
    expectAnswer(web("manual_markers_alert_on"), 200, "", "");
    expectAnswer(web("manual_markers_alert_off"), 200, "", "");
    EXPECT_TRUE(
        m_program.waitUntil([&] { return m_program.journal().size() == before + 2; }, kPatience));
}

TEST_F(BehindWebServerTest, WhatTheServiceRefusesIsAnErrorForABrowser) {
    beginStill();
    EXPECT_EQ(webPost("post_submit_log", "").status, 400);
    EXPECT_EQ(webPost("set_post_parameters", "nothing in it").status, 400);
    EXPECT_EQ(webPost("set_post_parameters", std::string(1048577, 'x')).status, 400);
    // More than the web server itself takes.
    EXPECT_EQ(webPost("set_post_parameters", std::string(3U << 20U, 'x')).status, 413);
}

TEST_F(BehindWebServerTest, TheSecondStatusLineOfAnUnknownActionIsWhatABrowserSees) {
    beginStill();
    const HttpAnswer unknown = web("make_coffee");
    EXPECT_EQ(unknown.status, 400);
    EXPECT_EQ(unknown.body, "Invalid action");
    const HttpAnswer missing = m_client.get(address("?action"));
    EXPECT_EQ(missing.status, 400);
    EXPECT_EQ(missing.body, "");
}

TEST_F(BehindWebServerTest, TheSecondAnswerOfAResponseIsPartOfItsBody) {
    beginStill();
    expectAnswer(m_client.get(address("?action=get_status_code&action=get_is_portrait")), 200,
                 "text/plain", "408" + plainText("0"));
}

TEST_F(BehindWebServerTest, AnAnswerWithoutAHeaderIsAServerErrorAndTheNextRequestIsServed) {
    beginStill();
    for (const auto& [method, query] : std::initializer_list<std::pair<const char*, const char*>>{
             {"GET", ""},
             {"GET", "?"},
             {"GET", "?other=get_status_code"},
             {"GET", "?action=%zz"}}) {
        EXPECT_EQ(m_client.send(address(query), {method, "", {}}).status, 500) << method << query;
        EXPECT_EQ(web("get_status_code").body, "408");
    }
    // Settings that do not convert leave their answer empty.
    EXPECT_EQ(webPost("set_post_parameters", "<root><Markers_Secs>x</Markers_Secs></root>").status,
              500);
    EXPECT_EQ(web("get_status_code").body, "408");
}

TEST_F(BehindWebServerTest, ABrowserThatGoesAwayInTheMiddleOfItsBodyChangesNothing) {
    beginStill();
    const std::string body = logEntry("error", "not to be logged");
    EXPECT_TRUE(m_client.sendAndHangUp(
        m_server->url(), "POST " + std::string(testing_support::WebServer::kApi) +
                             "?action=post_submit_log HTTP/1.1\r\nHost: localhost\r\n"
                             "Content-Type: text/xml\r\nContent-Length: 1000\r\n\r\n" +
                             body));
    EXPECT_EQ(web("get_status_code").body, "408");
    EXPECT_EQ(logged("not to be logged"), 0);
}

TEST_F(BehindWebServerTest, AnApplicationThatDoesNotRunIsAnErrorUntilItRunsAgain) {
    beginStill();
    EXPECT_EQ(web("get_status_code").status, 200);
    end();
    EXPECT_EQ(web("get_status_code").status, 503);
    begin();
    EXPECT_EQ(web("get_status_code").status, 200);
}

} // namespace
