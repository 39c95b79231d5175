// The web service on a FastCGI library that plays given requests: set-up, every action with the
// exact bytes of its answer, and requests that make no sense.

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/app_state.h"
#include "outputs/event_manager.h"
#include "outputs/fastcgi_service.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/axevent_stand_in.h"
#include "tests/unit/outputs/fcgx_stand_in.h"
#include "tests/unit/outputs/web_service_modules.h"

namespace {

using fcgx_stand_in::get;
using fcgx_stand_in::post;
using fcgx_stand_in::Request;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::logLines;

const std::string kSocket = "/usr/local/packages/zerith_markers/html/zerith_markers_fcgi.socket";

class FastcgiServiceTest : public testing::Test {
  protected:
    FastcgiServiceTest() {
        fcgx_stand_in::reset();
        web_service_modules::reset();
    }

    /// Has the service answer requests.
    std::vector<std::string> answers(std::deque<Request> requests) {
        fcgx_stand_in::reset();
        fcgx_stand_in::world().requests = std::move(requests);
        EXPECT_EQ(m_service.run(), 0);
        return fcgx_stand_in::world().answers;
    }

    std::string answer(const Request& request) {
        const std::vector<std::string> all = answers({request});
        return all.size() == 1 ? all[0] : "no answer";
    }

    std::string answerToAction(const std::string& action) {
        return answer(get("/local/zerith_markers/zerith_markers.cgi?action=" + action));
    }

    static std::string plainText(const std::string& body) {
        return "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n" + body;
    }

    static std::vector<std::string>& calls() { return fcgx_stand_in::world().calls; }
    static web_service_modules::World& modules() { return web_service_modules::world(); }

    fastcgi_service m_service;
};

// Set-up.

TEST_F(FastcgiServiceTest, AFreshServiceHasNoSocketAndNoConnectionThatItCouldClose) {
    EXPECT_EQ(m_service.m_sock, 0);
    EXPECT_EQ(m_service.m_request.ipcFd, -1);
}

TEST_F(FastcgiServiceTest, InitOpensTheSocketForEveryUser) {
    EXPECT_EQ(m_service.init(), 0);

    EXPECT_THAT(calls(), ElementsAre("FCGX_Init", "FCGX_OpenSocket " + kSocket + " 5",
                                     "chmod " + kSocket + " 511", "FCGX_InitRequest 3 0"));
    EXPECT_EQ(m_service.m_sock, 3);
    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket));
}

TEST_F(FastcgiServiceTest, ALibraryThatFailsToStartFailsInit) {
    fcgx_stand_in::world().initResult = -7;

    EXPECT_EQ(m_service.init(), 1);

    EXPECT_THAT(calls(), ElementsAre("FCGX_Init"));
    EXPECT_THAT(logLines(),
                ElementsAre("info|init: Socket: " + kSocket, "error|init: FCGX_Init failed"));
}

TEST_F(FastcgiServiceTest, ASocketThatCannotBeOpenedFailsInit) {
    fcgx_stand_in::world().socket = -1;

    EXPECT_EQ(m_service.init(), 1);

    EXPECT_THAT(calls(), ElementsAre("FCGX_Init", "FCGX_OpenSocket " + kSocket + " 5"));
    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket,
                                        "error|init: FCGX_OpenSocket failed: " + kSocket));
    EXPECT_EQ(m_service.m_sock, -1);
}

TEST_F(FastcgiServiceTest, ALibraryThatWouldEndTheProcessFailsInit) {
    fcgx_stand_in::world().endsTheProcess = true;

    EXPECT_EQ(m_service.init(), 1);

    EXPECT_THAT(calls(), ElementsAre("FCGX_Init"));
    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket,
                                        "error|init: FCGX_OpenSocket failed: " + kSocket));
    EXPECT_EQ(m_service.m_sock, -1);
}

TEST_F(FastcgiServiceTest, ATrialThatHangsIsGivenUpAndTellsNothing) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    fcgx_stand_in::world().hangsInChildren = ends[1];

    EXPECT_EQ(m_service.init(), 0);

    char told = 0;
    EXPECT_EQ(read(ends[0], &told, 1), 1) << "no child has hung";
    EXPECT_EQ(m_service.m_sock, 3);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(FastcgiServiceTest, ATrialThatHangsDoesNotOutliveTheProcess) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    fcgx_stand_in::world().hangsInChildren = ends[1];
    fcgx_stand_in::world().hasAlarm = false;
    const pid_t process = fork();
    if (process == 0) {
        fcgx_stand_in::thisIsTheProcess();
        _exit(m_service.init());
    }
    close(ends[1]);
    char told = 0;
    ASSERT_EQ(read(ends[0], &told, 1), 1);
    kill(process, SIGKILL);
    ASSERT_EQ(waitpid(process, nullptr, 0), process);

    // The pipe's last writer ends with it.
    constexpr int kMilliseconds = 20000;
    pollfd ending{ends[0], POLLIN, 0};
    ASSERT_EQ(poll(&ending, 1, kMilliseconds), 1);
    EXPECT_EQ(read(ends[0], &told, 1), 0);
    close(ends[0]);
}

TEST_F(FastcgiServiceTest, ASocketThatStaysClosedToOtherUsersIsLogged) {
    fcgx_stand_in::world().chmodError = EPERM;

    EXPECT_EQ(m_service.init(), 0);

    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket,
                                        "warning|init: Failed to open the socket to other users: "
                                        "Operation not permitted"));
}

TEST_F(FastcgiServiceTest, ASocketWhoseFileIsGoneHasNobodyToBeOpenedTo) {
    fcgx_stand_in::world().chmodError = ENOENT;

    EXPECT_EQ(m_service.init(), 0);

    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket));
}

TEST_F(FastcgiServiceTest, ARequestObjectThatCannotBePreparedFailsInitAndIsFreed) {
    fcgx_stand_in::world().initRequestResult = -2;

    EXPECT_EQ(m_service.init(), 1);

    EXPECT_THAT(calls(),
                ElementsAre("FCGX_Init", "FCGX_OpenSocket " + kSocket + " 5",
                            "chmod " + kSocket + " 511", "FCGX_InitRequest 3 0", "FCGX_Free 3"));
    EXPECT_THAT(logLines(), ElementsAre("info|init: Socket: " + kSocket,
                                        "error|init: FCGX_InitRequest failed"));
}

TEST_F(FastcgiServiceTest, DestructionFreesTheRequestWithItsSocket) {
    { const fastcgi_service fresh; }
    EXPECT_THAT(calls(), ElementsAre("FCGX_Free 0"));

    {
        fastcgi_service service;
        EXPECT_EQ(service.init(), 0);
        calls().clear();
    }
    EXPECT_THAT(calls(), ElementsAre("FCGX_Free 3"));
}

TEST_F(FastcgiServiceTest, RunEndsWithZeroWhenAcceptingFails) {
    EXPECT_EQ(m_service.run(), 0);

    EXPECT_THAT(calls(), ElementsAre("FCGX_Accept_r"));
}

TEST_F(FastcgiServiceTest, EachRequestIsFinishedBeforeTheNextIsAccepted) {
    answers({get("/x?action=get_status_code"), get("/x?action=get_status_code")});

    EXPECT_THAT(calls(), ElementsAre("FCGX_Accept_r", "FCGX_Finish_r", "FCGX_Accept_r",
                                     "FCGX_Finish_r", "FCGX_Accept_r"));
}

// GET.

TEST_F(FastcgiServiceTest, GetStatusStringAnswersTheStatusText) {
    EXPECT_EQ(answerToAction("get_status_string"), plainText("Markers "));
}

TEST_F(FastcgiServiceTest, GetIsPortraitAnswersOneOrZero) {
    EXPECT_EQ(answerToAction("get_is_portrait"), plainText("0"));
    modules().isPortrait = "1";
    EXPECT_EQ(answerToAction("get_is_portrait"), plainText("1"));
}

TEST_F(FastcgiServiceTest, GetStatusCodeAnswersTheDecimalCodeAsPlainText) {
    modules().statusCode = "502";

    EXPECT_EQ(answerToAction("get_status_code"),
              "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n502");
}

TEST_F(FastcgiServiceTest, GetAllParametersAnswersTheSettingsDocumentAsXml) {
    modules().parameters = [] { return std::string("<app><Eula>1</Eula>100%s</app>"); };

    EXPECT_EQ(answerToAction("get_all_parameters"),
              "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\n<app><Eula>1</Eula>100%s</app>");
}

TEST_F(FastcgiServiceTest, AZeroByteInAnAnswerHidesNothingThatFollowsIt) {
    using namespace std::string_literals;
    modules().parameters = [] { return "<app>\0one\0\0two</app>\0"s; };

    EXPECT_EQ(answerToAction("get_all_parameters"),
              "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\n<app>onetwo</app>");
}

TEST_F(FastcgiServiceTest, GetLogfileAsSerializedTextAnswersTheLogWithBars) {
    g_Logger.info("f: one");
    g_Logger.error("f: two");
    const std::string expected = g_Logger.getSerializedLogContents();
    ASSERT_THAT(expected, testing::EndsWith("|test|error|f: two\n"));

    EXPECT_EQ(answerToAction("get_logfile_as_serialized_text"), plainText(expected));
}

TEST_F(FastcgiServiceTest, GetLogfileAsPlainTextAnswersTheLogWithBlanks) {
    g_Logger.info("f: one");
    g_Logger.error("f: two");
    const std::string expected = g_Logger.getPlainLogContents();
    ASSERT_THAT(expected, testing::EndsWith(" test error f: two\n"));

    EXPECT_EQ(answerToAction("get_logfile_as_plain_text"), plainText(expected));
}

TEST_F(FastcgiServiceTest, ClearLogfileEmptiesTheLogAndSaysSo) {
    g_Logger.error("f: two");
    g_Logger.info("f: one");

    EXPECT_EQ(answerToAction("clear_logfile"), plainText("Log file cleared."));

    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FastcgiServiceTest, ManualAlertOnStartsTheAlertByHandAndAnswersWithoutHeaderOrBody) {
    EXPECT_EQ(answerToAction("manual_markers_alert_on"), "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_handler_send_event"),
                ElementsAre("ax_event_handler_send_event 1 active@none=bool:TRUE"));
    EXPECT_TRUE(g_EventManager->isEventStartedManually("Zerith Markers Alert"));
    EXPECT_FALSE(g_EventManager->isEventStarted("Zerith Markers Alert"));
}

TEST_F(FastcgiServiceTest, ManualAlertOffStopsTheAlertByHandAndAnswersWithoutHeaderOrBody) {
    answerToAction("manual_markers_alert_on");
    axevent_stand_in::reset();

    EXPECT_EQ(answerToAction("manual_markers_alert_off"), "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_handler_send_event"),
                ElementsAre("ax_event_handler_send_event 1 active@none=bool:FALSE"));
    EXPECT_FALSE(g_EventManager->isEventStartedManually("Zerith Markers Alert"));
}

TEST_F(FastcgiServiceTest, WithoutAnEventManagerTheAlertByHandIsLoggedAndAnswersNothing) {
    delete g_EventManager;
    g_EventManager = nullptr;

    EXPECT_EQ(answerToAction("manual_markers_alert_on"), "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(logLines(), testing::Contains("error|switchAlert: There is no event manager"));
}

TEST_F(FastcgiServiceTest, GetAspectRatioAnswersTheSensorsRatio) {
    modules().aspectRatio = "4:3";

    EXPECT_EQ(answerToAction("get_aspect_ratio"), plainText("4:3"));
}

TEST_F(FastcgiServiceTest, GetApplicationResolutionAnswersWidthByHeight) {
    EXPECT_EQ(answerToAction("get_application_resolution"), plainText("1280x720"));
    g_ApplicationStreamWidth = 768;
    g_ApplicationStreamHeight = 1024;
    EXPECT_EQ(answerToAction("get_application_resolution"), plainText("768x1024"));
}

TEST_F(FastcgiServiceTest, AnUnknownActionIsAnsweredWithTwoStatusLinesAndLogged) {
    for (const std::string action : {"nonsense", "Get_status_code", "get_status_code ", ""}) {
        forgetLog();
        EXPECT_EQ(answerToAction(action == "get_status_code " ? "get_status_code+" : action),
                  "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
        EXPECT_THAT(logLines(),
                    ElementsAre("error|processGET: Invalid fastcgi webservice action requested: " +
                                action));
    }
}

TEST_F(FastcgiServiceTest, AnActionWithoutAValueIsABadRequest) {
    EXPECT_EQ(answer(get("/x?action")), "Status: 400 Bad Request\r\n\r\n");
    EXPECT_EQ(answer(post("/x?action", "<root><a>1</a></root>")),
              "Status: 400 Bad Request\r\n\r\n");
    EXPECT_THAT(modules().bodies, IsEmpty());
    EXPECT_THAT(logLines(), ElementsAre("error|processGET: The query item action has no value",
                                        "error|processPOST: The query item action has no value"));
}

TEST_F(FastcgiServiceTest, WithoutAnActionTheAnswerIsEmpty) {
    EXPECT_EQ(answer(get("/x?other=get_status_code&Action=get_status_code")), "");
    EXPECT_EQ(answer(post("/x?other=1", "text")), "");
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FastcgiServiceTest, OtherQueryItemsAreIgnored) {
    EXPECT_EQ(answer(get("/x?a=1&action=get_status_code&_=1700000000")), plainText("200"));
}

TEST_F(FastcgiServiceTest, TwoActionsAreAnsweredOneAfterTheOther) {
    EXPECT_EQ(answer(get("/x?action=get_status_code&b=2&action=get_is_portrait")),
              plainText("200") + plainText("0"));
}

TEST_F(FastcgiServiceTest, AnEncodedActionIsDecoded) {
    EXPECT_EQ(answerToAction("get%5Fstatus%5fcode"), plainText("200"));
}

// POST.

TEST_F(FastcgiServiceTest, SetPostParametersHandsOverTheBodyAndAnswersItsSuccess) {
    EXPECT_EQ(answer(post("/x?action=set_post_parameters", "<root><Eula>1</Eula></root>")),
              "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(modules().bodies, ElementsAre("<root><Eula>1</Eula></root>"));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FastcgiServiceTest, ARefusedSettingsDocumentIsABadRequest) {
    modules().setPostParameters = [](const std::string&) { return -1; };

    EXPECT_EQ(answer(post("/x?action=set_post_parameters", "")), "Status: 400 Bad Request\r\n\r\n");

    EXPECT_THAT(modules().bodies, ElementsAre(""));
}

TEST_F(FastcgiServiceTest, SettingsThatThrowLeaveTheAnswerEmptyAndAreLogged) {
    modules().setPostParameters = [](const std::string&) -> int {
        throw std::invalid_argument("stoi");
    };

    EXPECT_EQ(answer(post("/x?action=set_post_parameters", "<root></root>")), "");

    EXPECT_THAT(logLines(), ElementsAre("error|processPOST: Exception from processPOST trying to "
                                        "set post parameters."));
}

class SubmittedLogTest : public FastcgiServiceTest {
  protected:
    std::string submit(const std::string& severity, const std::string& text) {
        modules().parse = [=](const std::string&) {
            return std::map<std::string, std::string>{{"log_severity", severity},
                                                      {"log_entry", text}};
        };
        return answer(post("/x?action=post_submit_log", "<root>...</root>"));
    }
};

TEST_F(SubmittedLogTest, EachSeverityIsLoggedAtItsLevelWithoutAFunctionsName) {
    EXPECT_EQ(submit("info", "page loaded"), "Status: 200 OK\r\n\r\n");
    EXPECT_EQ(submit("warning", "page slow"), "Status: 200 OK\r\n\r\n");
    EXPECT_EQ(submit("error", "page broken"), "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(logLines(),
                ElementsAre("info|page loaded", "warning|page slow", "error|page broken"));
    EXPECT_THAT(modules().bodies.front(), "<root>...</root>");
}

TEST_F(SubmittedLogTest, AnyOtherSeverityIsAnsweredWithSuccessAndLogsNothing) {
    for (const char* const severity : {"debug", "INFO", "", "info "}) {
        EXPECT_EQ(submit(severity, "text"), "Status: 200 OK\r\n\r\n");
    }
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SubmittedLogTest, MissingElementsAreEmptyTexts) {
    modules().parse = [](const std::string&) {
        return std::map<std::string, std::string>{{"log_severity", "error"}};
    };

    EXPECT_EQ(m_service.add_post_submit_log("x"), 0);

    EXPECT_THAT(logLines(), ElementsAre("error|"));
}

TEST_F(SubmittedLogTest, ABodyWithoutElementsIsABadRequestAndIsLogged) {
    EXPECT_EQ(answer(post("/x?action=post_submit_log", "nothing")),
              "Status: 400 Bad Request\r\n\r\n");
    EXPECT_EQ(m_service.add_post_submit_log("nothing"), -1);

    EXPECT_THAT(logLines(), ElementsAre("error|add_post_submit_log: Failed to parse XML payload",
                                        "error|add_post_submit_log: Failed to parse XML payload"));
}

TEST_F(SubmittedLogTest, AnExceptionLeavesTheAnswerEmptyAndIsLogged) {
    modules().parse = [](const std::string&) -> std::map<std::string, std::string> {
        throw std::out_of_range("substr");
    };

    EXPECT_EQ(answer(post("/x?action=post_submit_log", "<root>")), "");

    EXPECT_THAT(logLines(), ElementsAre("error|processPOST: Exception from add_post_submit_log."));
}

TEST_F(FastcgiServiceTest, AnyOtherPostActionIsAnsweredWithoutAStatus) {
    EXPECT_EQ(answer(post("/x?action=get_status_code", "body")), "\r\n");
    EXPECT_THAT(modules().bodies, IsEmpty());
}

TEST_F(FastcgiServiceTest, ProcessPostTellsWhetherTheOperationRaised) {
    answers({get("/x?a=1")}); // leaves a request to answer to
    char action[] = "action";
    char value[] = "set_post_parameters";
    UriQueryListStructA item{action, value, nullptr};

    EXPECT_EQ(m_service.processPOST(&item, "x"), 0);
    modules().setPostParameters = [](const std::string&) { return -1; };
    EXPECT_EQ(m_service.processPOST(&item, "x"), 0);
    modules().setPostParameters = [](const std::string&) -> int { throw 1; };
    EXPECT_EQ(m_service.processPOST(&item, "x"), -1);
}

// Bodies.

TEST_F(FastcgiServiceTest, TheBodyIsReadToItsLengthAndNoFurther) {
    Request request = post("/x?action=set_post_parameters", "0123456789");
    request.parameters["CONTENT_LENGTH"] = "4";
    answer(request);

    EXPECT_THAT(modules().bodies, ElementsAre("0123"));
}

TEST_F(FastcgiServiceTest, ABodyThatEndsEarlyIsFilledUpWithTheEndOfFileValue) {
    Request request = post("/x?action=set_post_parameters", "ab");
    request.parameters["CONTENT_LENGTH"] = "5";
    answer(request);

    EXPECT_THAT(modules().bodies, ElementsAre("ab\xff\xff\xff"));
}

TEST_F(FastcgiServiceTest, ABodyMayHoldAnyBytesAndBeOneMebibyteLong) {
    std::string body(1048576, '\0');
    body[1] = '\xff';
    EXPECT_EQ(answer(post("/x?action=set_post_parameters", body)), "Status: 200 OK\r\n\r\n");

    EXPECT_TRUE(modules().bodies == std::vector<std::string>{body});
}

TEST_F(FastcgiServiceTest, ALengthThatIsNoneIsABadRequestAndIsLogged) {
    for (const char* const length : {"-1", "-0", "abc", "", "12abc", " ", "+", "+-5", "++5", "+ 5",
                                     "5 ", "0x10", "1048577", "99999999999999999999999", "1.5"}) {
        forgetLog();
        Request request = post("/x?action=set_post_parameters", "0123456789");
        request.parameters["CONTENT_LENGTH"] = length;

        EXPECT_EQ(answer(request), "Status: 400 Bad Request\r\n\r\n") << length;
        EXPECT_THAT(logLines(), ElementsAre("error|performAction: POST request without a valid "
                                            "CONTENT_LENGTH"))
            << length;
    }
    EXPECT_THAT(modules().bodies, IsEmpty());
}

TEST_F(FastcgiServiceTest, ALengthMayBeginWithBlanksAndAPlus) {
    for (const char* const length : {"5", " 5", "+5", " \t\n+05"}) {
        Request request = post("/x?action=set_post_parameters", "0123456789");
        request.parameters["CONTENT_LENGTH"] = length;

        EXPECT_EQ(answer(request), "Status: 200 OK\r\n\r\n") << length;
        EXPECT_EQ(modules().bodies.back(), "01234") << length;
    }
}

TEST_F(FastcgiServiceTest, AMissingLengthIsABadRequest) {
    Request request = post("/x?action=post_submit_log", "0123456789");
    request.parameters.erase("CONTENT_LENGTH");

    EXPECT_EQ(answer(request), "Status: 400 Bad Request\r\n\r\n");
    EXPECT_EQ(m_service.get_post_body(), "");
}

TEST_F(FastcgiServiceTest, ALengthOfZeroIsAnEmptyBody) {
    EXPECT_EQ(answer(post("/x?action=set_post_parameters", "")), "Status: 200 OK\r\n\r\n");

    EXPECT_THAT(modules().bodies, ElementsAre(""));
}

// Requests that make no sense.

TEST_F(FastcgiServiceTest, AUriThatCannotBeParsedIsAnsweredWithABareText) {
    EXPECT_THAT(answers({get("http://[::1"), get("/x?action=get_status_code")}),
                ElementsAre("Failed to parse URI", plainText("200")));
    EXPECT_THAT(calls(),
                ElementsAre("FCGX_Accept_r", "FCGX_Accept_r", "FCGX_Finish_r", "FCGX_Accept_r"));
}

TEST_F(FastcgiServiceTest, AMissingUriCannotBeParsed) {
    EXPECT_EQ(answer({{{"REQUEST_METHOD", "GET"}}, ""}), "Failed to parse URI");
}

TEST_F(FastcgiServiceTest, AUriWithoutAQueryIsAnsweredWithABareText) {
    EXPECT_THAT(answers({get("/local/zerith_markers/zerith_markers.cgi"),
                         get("/x?action=get_status_code")}),
                ElementsAre("Failed to parse query", plainText("200")));
}

TEST_F(FastcgiServiceTest, AnEmptyQueryIsAnsweredWithNothing) {
    EXPECT_EQ(answer(get("/x?")), "");
}

TEST_F(FastcgiServiceTest, AnyOtherMethodIsAnsweredWithItsName) {
    for (const char* const method : {"PUT", "get", "HEAD", "", "%n"}) {
        Request request = get("/x?action=get_status_code");
        request.parameters["REQUEST_METHOD"] = method;
        EXPECT_EQ(answer(request),
                  std::string("Only GET and POST supported. Method ") + method + " not supported");
    }
}

TEST_F(FastcgiServiceTest, AMissingMethodIsNotSupported) {
    EXPECT_EQ(answer({{{"REQUEST_URI", "/x?action=get_status_code"}}, ""}),
              "Only GET and POST supported. Method  not supported");
}

TEST_F(FastcgiServiceTest, AnyOtherMethodWithoutAnActionIsAnsweredWithNothing) {
    Request request = get("/x?a=b");
    request.parameters["REQUEST_METHOD"] = "PUT";
    EXPECT_EQ(answer(request), "");
}

TEST_F(FastcgiServiceTest, WhatAGetThrowsIsLoggedAndTheNextRequestIsServed) {
    int turn = 0;
    modules().parameters = [&turn]() -> std::string {
        if (++turn == 1) {
            throw std::runtime_error("Failed to get Eula");
        }
        throw 1;
    };

    const std::vector<std::string> all =
        answers({get("/x?action=get_all_parameters"), get("/x?action=get_all_parameters"),
                 get("/x?action=get_status_code")});

    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[2], plainText("200"));
    EXPECT_THAT(logLines(), ElementsAre("error|run: Request failed: Failed to get Eula",
                                        "error|run: Request failed: unknown exception"));
    EXPECT_THAT(calls(),
                ElementsAre("FCGX_Accept_r", "FCGX_Finish_r", "FCGX_Accept_r", "FCGX_Finish_r",
                            "FCGX_Accept_r", "FCGX_Finish_r", "FCGX_Accept_r"));
}

// The end.

TEST_F(FastcgiServiceTest, AServiceThatNobodyRunsIsStoppedAtOnceAndForGood) {
    EXPECT_TRUE(m_service.stop(std::chrono::milliseconds(0)));

    EXPECT_EQ(m_service.init(), 1);
    EXPECT_THAT(answers({get("/x?action=get_status_code")}), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FastcgiServiceTest, ARequestThatIsAcceptedAfterTheStopIsNotBegun) {
    fcgx_stand_in::world().requests = {get("/x?action=manual_markers_alert_on"),
                                       get("/x?action=get_status_code")};
    modules().statusCode = "unread";
    // The first request stops the service from within, as another thread might at that moment.
    modules().parameters = [this] {
        EXPECT_FALSE(m_service.stop(std::chrono::milliseconds(0)));
        return std::string("stopped");
    };
    fcgx_stand_in::world().requests.push_front(get("/x?action=get_all_parameters"));

    EXPECT_EQ(m_service.run(), 0);

    EXPECT_EQ(fcgx_stand_in::world().answers.size(), 1U);
    EXPECT_TRUE(m_service.stop(std::chrono::milliseconds(0)));
}

} // namespace
