// The program that measures its stages: what it tells, and that it is the application otherwise.

#include <map>
#include <sstream>
#include <string>

#include "tests/integration/running_service.h"

using testing::HasSubstr;
using testing_support::freePort;
using testing_support::HttpAnswer;
using testing_support::HttpClient;
using testing_support::ServiceTest;

namespace {

class StagesTest : public ServiceTest {
  protected:
    StagesTest() : ServiceTest(ZM_TIMED_PROGRAM) {}

    [[nodiscard]] HttpAnswer metrics() const {
        return HttpClient().get("http://127.0.0.1:" + m_port + "/metrics");
    }

    void beginTicking() {
        m_program.storeDemonstrationSettings(320, 180);
        m_program.configure("http", "port", m_port);
        m_program.setEnvironment("ZERITH_STAGE_TABLE", "1");
        begin();
    }

    const std::string m_port = std::to_string(freePort());
};

/// A Prometheus text as a map from a figure's name, with its labels, to its value.
std::map<std::string, double> figuresOf(const std::string& text) {
    std::map<std::string, double> figures;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.rfind(' ');
        if (!line.starts_with('#') && blank != std::string::npos) {
            figures[line.substr(0, blank)] = std::stod(line.substr(blank));
        }
    }
    return figures;
}

TEST_F(StagesTest, EveryStageOfEveryTickIsMeasuredAndNoTimeCountsTwice) {
    beginTicking();
    const std::string name = "zerith_markers_stage_seconds";
    ASSERT_TRUE(m_program.waitUntil(
        [&] { return figuresOf(metrics().body)[name + "_count{stage=\"tick\"}"] >= 10; },
        kPatience));
    const HttpAnswer answer = metrics();
    EXPECT_EQ(answer.header("Content-Type"), "text/plain; version=0.0.4");
    auto figures = figuresOf(answer.body);
    const double ticks = figures[name + "_count{stage=\"tick\"}"];
    double stages = 0;
    for (const char* stage :
         {"get_frame", "convert", "detect", "track", "decide", "events", "redraw"}) {
        const std::string label = std::string("{stage=\"") + stage + "\"}";
        EXPECT_EQ(figures[name + "_count" + label], ticks) << stage;
        EXPECT_GT(figures[name + "_sum" + label], 0) << stage;
        stages += figures[name + "_sum" + label];
    }
    const double whole = figures[name + "_sum{stage=\"tick\"}"];
    EXPECT_LE(stages, whole);
    EXPECT_GT(figures[name + "_sum{stage=\"detect\"}"], figures[name + "_sum{stage=\"decide\"}"]);
}

TEST_F(StagesTest, TheTableIsPrintedAtTheEnd) {
    beginTicking();
    ASSERT_TRUE(m_program.waitUntil(
        [&] { return metrics().body.find("detect") != std::string::npos; }, kPatience));
    end();
    EXPECT_THAT(m_program.output(), HasSubstr("stage       median ms     p95 ms     max ms"));
}

TEST_F(StagesTest, WithoutAskingThereIsNoTable) {
    begin();
    end();
    EXPECT_EQ(m_program.output().find("median"), std::string::npos);
}

} // namespace
