#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/arx_host_process.h"

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(ArxHost, RunsThePlugInForTheTimeGivenAndShutsItDown) {
    Child child({"--library", FAKE_PLUGIN_PATH, "--idle", "--seconds", "0"});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 0) << child.Output();

    EXPECT_THAT(
        child.Output(),
        AllOf(HasSubstr("arx-host: loaded fake-plugin from " FAKE_PLUGIN_PATH " as client 1\n"),
              ContainsRegex("fake-plugin: attached\n(.*\n)*fake-plugin: tick 1\n"),
              ContainsRegex("fake-plugin: stopped\n(.*\n)*arx-host: memory counters"),
              ContainsRegex("\n  peak live bytes +[0-9]+\n"), ContainsRegex("\n  frees +0\n")));
}

TEST(ArxHost, StopsCleanlyOnSigtermAndSigint) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Child child({"--library", FAKE_PLUGIN_PATH, "--idle"});
        ASSERT_TRUE(child.Started());
        ASSERT_TRUE(child.ReadUntil("arx-host: attached\n")) << child.Output();
        child.Signal(signal);
        EXPECT_EQ(child.Finish(), 0) << child.Output();
        EXPECT_THAT(child.Output(), AllOf(HasSubstr("arx-host: shutting down\n"),
                                          HasSubstr("fake-plugin: stopped\n"),
                                          HasSubstr("arx-host: memory counters at shutdown\n"),
                                          Not(HasSubstr("still subscribed"))));
    }
}

TEST(ArxHost, DescribesThePlugInsFunctionsWithoutAttachingIt) {
    Child child({"--library", FAKE_PLUGIN_PATH, "--describe"});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 0) << child.Output();
    EXPECT_EQ(child.Output(),
              "GET /fake/v1/echo/{word} GetFakeV1EchoByWord word:path\n"
              "* /fake/v1/any FakeAny\n");
}

TEST(ArxHost, RejectsBadArgumentsAndLibraries) {
    struct Case {
        std::vector<std::string> arguments;
        int exitCode;
        const char* message;
    };
    const Case cases[] = {
        {{"--library", FAKE_PLUGIN_PATH, "--core-version", "18.x"}, 2, "is not a version X.Y.Z"},
        {{"--library", FAKE_PLUGIN_PATH, "--seconds", "-1"}, 2, "is not a number of seconds"},
        {{"--library", FAKE_PLUGIN_PATH, "--seconds", "1s"}, 2, "is not a number of seconds"},
        {{"--library", FAKE_PLUGIN_PATH, "--verbose", "1"}, 2, "unknown option --verbose"},
        {{"--library"}, 2, "--library needs a value"},
        {{"--library", "/nonexistent/lib.so", "--seconds", "0"}, 1, "cannot load"},
        {{"--library", FAKE_PLUGIN_PATH, "--core-version", "17.9.9", "--seconds", "0"},
         1,
         "no complete table of plug-in operations"},
        // A module that does not describe itself has no document to relay.
        {{"--library", FAKE_PLUGIN_PATH, "--openapi"}, 1, "has no function \"OpenApi\""},
    };
    for (const Case& test : cases) {
        Child child(test.arguments);
        ASSERT_TRUE(child.Started());
        EXPECT_EQ(child.Finish(), test.exitCode) << child.Output();
        EXPECT_THAT(child.Output(), HasSubstr(test.message));
    }
}

#ifdef PLUGIN_PATH
// Whether every piece appears in `text`, each after the one before.
bool InOrder(const std::string& text, const std::vector<std::string>& pieces) {
    std::size_t from = 0;
    for (const std::string& piece : pieces) {
        from = text.find(piece, from);
        if (from == std::string::npos) {
            return false;
        }
        from += piece.size();
    }
    return true;
}

// The main job on the real plug-in, on the virtual clock so that it takes no time.
TEST(ArxHostWalk, WalksOneWholeSearchFromLoginToTheGame) {
    Child child({"--library", PLUGIN_PATH, "--virtual-clock"});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 0) << child.Output();
    EXPECT_TRUE(InOrder(
        child.Output(),
        {"login       the player logs in", "lobby       the player joins lobby-1 for queue 420",
         "client      POST /arx-matchmaking/v1/search\n",
         "request     LCDS matchmakerService.attachToQueue", "machine     -> Searching\n",
         "platform    a match pops", "machine     MATCHMAKING_EVENT.READY_CHECK -> ReadyCheck",
         "client      POST /arx-matchmaking/v1/ready-check/accept",
         "gameflow    phase InProgress\n", "arx-host    the game has started"}))
        << child.Output();
}

TEST(ArxHostWalk, OneSeedGivesOneTimeline) {
    const auto run = [](const char* seed) {
        Child child(
            {"--library", PLUGIN_PATH, "--virtual-clock", "--accept-rate", "0.7", "--seed", seed});
        EXPECT_TRUE(child.Started());
        EXPECT_EQ(child.Finish(), 0) << child.Output();
        return child.Output();
    };
    const std::string first = run("7");
    EXPECT_EQ(first, run("7"));
    EXPECT_NE(first, run("8"));
}

TEST(ArxHostWalk, AcceptsEveryNewReadyCheckAfterAStrangerDeclined) {
    // With the strangers' usual mood, seed 2 sees a stranger decline the first ready check.
    Child child({"--library", PLUGIN_PATH, "--virtual-clock", "--seed", "2"});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 0) << child.Output();
    EXPECT_TRUE(InOrder(child.Output(), {"stranger", " declines", "the check failed on a stranger",
                                         "platform    a match pops",
                                         "client      POST /arx-matchmaking/v1/ready-check/accept",
                                         "arx-host    the game has started"}))
        << child.Output();
}

TEST(ArxHostWalk, GivesUpWhenTheStrangersNeverAccept) {
    Child child({"--library", PLUGIN_PATH, "--virtual-clock", "--accept-rate", "0"});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 1) << child.Output();
    EXPECT_THAT(child.Output(), AllOf(HasSubstr("did not reach the game: 5 ready checks failed"),
                                      HasSubstr("arx-host: memory counters at shutdown")));
}

TEST(ArxHostWalk, EndsAtTheTimeGivenAndRefusesBadChoices) {
    Child early({"--library", PLUGIN_PATH, "--virtual-clock", "--seconds", "3"});
    ASSERT_TRUE(early.Started());
    EXPECT_EQ(early.Finish(), 0) << early.Output();
    EXPECT_THAT(early.Output(), AllOf(HasSubstr("stopped before the game started"),
                                      Not(HasSubstr("a match pops"))));

    struct Case {
        std::vector<std::string> arguments;
        int exitCode;
        const char* message;
    };
    const Case cases[] = {
        {{"--queue", "999"}, 2, "queue 999 is not in the simulated queue list"},
        {{"--queue", "4.5"}, 2, "is not a whole number for --queue"},
        {{"--accept-rate", "1.5"}, 2, "is not a rate from 0 to 1"},
        {{"--queue-time", "soon"}, 2, "is not a number of seconds"},
    };
    for (const Case& test : cases) {
        std::vector<std::string> arguments{"--library", PLUGIN_PATH, "--virtual-clock"};
        arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
        Child child(arguments);
        ASSERT_TRUE(child.Started());
        EXPECT_EQ(child.Finish(), test.exitCode) << child.Output();
        EXPECT_THAT(child.Output(), HasSubstr(test.message));
    }
}

// A file of the test's own in the temporary folder.
std::string WriteFile(const std::string& name, const std::string& text) {
    const std::string path = ::testing::TempDir() + name;
    std::FILE* file = std::fopen(path.c_str(), "w");
    EXPECT_NE(file, nullptr) << path;
    if (file != nullptr) {
        std::fputs(text.c_str(), file);
        std::fclose(file);
    }
    return path;
}

TEST(ArxHostScenario, StopsAtTheFirstStepThatDoesNotHoldAndNamesIt) {
    const std::string path = WriteFile("arx_host_unmet.yaml",
                                       "- join-lobby: {queue: 420}\n"
                                       "- call: POST /arx-matchmaking/v1/search\n"
                                       "- expect-state: ReadyCheck\n"
                                       "- advance: 100\n");
    Child child({"--library", PLUGIN_PATH, "--scenario", path});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 1) << child.Output();
    EXPECT_THAT(child.Output(),
                AllOf(HasSubstr("arx-host: the timeline's last lines:\n"),
                      HasSubstr("arx-host: " + path +
                                ":3: step 3 (expect-state): expected the machine in ReadyCheck, "
                                "it is in Searching\n"),
                      Not(HasSubstr("step 4: advance"))));
}

TEST(ArxHostScenario, RefusesABadFileWithOneLineBeforeLoadingThePlugIn) {
    const std::string path = WriteFile("arx_host_bad.json", "[{\"advance\": \"soon\"}]");
    Child child({"--library", PLUGIN_PATH, "--scenario", path});
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(child.Finish(), 2) << child.Output();
    EXPECT_EQ(child.Output(), "arx-host: " + path +
                                  ":1: step 1 (advance): advance must be a number, not \"soon\"\n");
}
#endif

}  // namespace
