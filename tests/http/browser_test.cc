// The page in a real browser: headless Chromium loads it from the front, a search starts from
// the page's own button, the platform pops a match, the page's accept button answers the ready
// check, and the DOM shows the machine reach the game. Chromium is driven over its debugging
// pipe (JSON messages ended by a NUL byte on descriptors 3 and 4), so no driver is needed.
// A machine without Chromium fails this test: scripts/setup installs it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "core/self_description.h"
#include "host/spawned_process.h"
#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

using nlohmann::json;

// The pipe waits longer than a wait inside the page, so that the page's own failure, which says
// what it showed, comes back instead of silence.
constexpr std::chrono::seconds kPipePatience = kPatience + std::chrono::seconds(10);

// The browser to run: $ARX_CHROMIUM, or the first "chromium" on the PATH.
std::optional<std::string> FindChromium() {
    if (const char* given = std::getenv("ARX_CHROMIUM"); given != nullptr && *given != '\0') {
        return std::string(given);
    }
    const char* path = std::getenv("PATH");
    std::string folders = path != nullptr ? path : "/usr/bin";
    std::size_t start = 0;
    while (start <= folders.size()) {
        const std::size_t end = std::min(folders.find(':', start), folders.size());
        const std::filesystem::path candidate =
            std::filesystem::path(folders.substr(start, end - start)) / "chromium";
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate.string();
        }
        start = end + 1;
    }
    return std::nullopt;
}

// Headless Chromium on its debugging pipe.
class Browser {
public:
    Browser(const std::string& executable, const std::string& profile) {
        int toBrowser[2];
        int fromBrowser[2];
        if (pipe(toBrowser) != 0 || pipe(fromBrowser) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toBrowser[0], 3);
        posix_spawn_file_actions_adddup2(&actions, fromBrowser[1], 4);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        std::vector<std::string> arguments{executable,
                                           "--headless",
                                           "--no-sandbox",
                                           "--disable-gpu",
                                           "--no-first-run",
                                           "--no-default-browser-check",
                                           "--remote-debugging-pipe",
                                           "--user-data-dir=" + profile,
                                           "about:blank"};
        pid_ = SpawnProcess(std::move(arguments), actions);
        posix_spawn_file_actions_destroy(&actions);
        close(toBrowser[0]);
        close(fromBrowser[1]);
        in_ = toBrowser[1];
        out_ = fromBrowser[0];
    }
    ~Browser() {
        if (pid_ > 0) {
            Call("Browser.close", json::object());
        }
        close(in_);
        // The browser closes its end of the pipe as it exits.
        char buffer[4096];
        pollfd ready{out_, POLLIN, 0};
        while (pid_ > 0 && poll(&ready, 1, static_cast<int>(kPipePatience.count() * 1000)) == 1 &&
               read(out_, buffer, sizeof buffer) > 0) {
        }
        close(out_);
        if (pid_ > 0) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == 0) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status, 0);
            }
        }
    }

    bool Started() const { return pid_ > 0; }

    // Sends a command and waits for its answer; the events in between are not needed here.
    json Call(const std::string& method, const json& parameters, const std::string& session = "") {
        json command{{"id", ++lastId_}, {"method", method}, {"params", parameters}};
        if (!session.empty()) {
            command["sessionId"] = session;
        }
        const std::string text = command.dump() + '\0';
        if (write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            return json{{"error", {{"message", "the browser's pipe is closed"}}}};
        }
        while (true) {
            const std::size_t end = pending_.find('\0');
            if (end != std::string::npos) {
                json message = json::parse(pending_.substr(0, end), nullptr, false);
                pending_.erase(0, end + 1);
                if (message.is_object() && message.value("id", -1) == lastId_) {
                    return message;
                }
                continue;
            }
            pollfd ready{out_, POLLIN, 0};
            char buffer[65536];
            const ssize_t count =
                poll(&ready, 1, static_cast<int>(kPipePatience.count() * 1000)) == 1
                    ? read(out_, buffer, sizeof buffer)
                    : -1;
            if (count <= 0) {
                return json{{"error", {{"message", "the browser gave no answer to " + method}}}};
            }
            pending_.append(buffer, static_cast<std::size_t>(count));
        }
    }

private:
    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    int lastId_ = 0;
    std::string pending_;
};

// One tab of the browser, on the front's page.
class Page {
public:
    Page(Browser& browser, const std::string& url) : browser_(browser) {
        const json target = browser_.Call("Target.createTarget", {{"url", "about:blank"}});
        const json attached = browser_.Call(
            "Target.attachToTarget",
            {{"targetId", target["result"].value("targetId", "")}, {"flatten", true}});
        session_ = attached["result"].value("sessionId", "");
        browser_.Call("Page.navigate", {{"url", url}}, session_);
    }

    bool Attached() const { return !session_.empty(); }

    // Waits in the page until `condition` (a JavaScript expression) holds; then the value of
    // `result`, or the failure's text with what the page showed.
    std::string WaitFor(const std::string& condition, const std::string& result = "true") {
        const std::string script =
            "new Promise((resolve, reject) => {"
            "  const end = Date.now() + " +
            std::to_string(kPatience.count() * 1000) +
            ";"
            "  (function poll() {"
            "    try { if (" +
            condition + ") return resolve(String(" + result +
            ")); } catch (e) {}"
            "    if (Date.now() > end) return reject(new Error("
            "      'not reached; the machine showed ' + "
            "      (document.getElementById('machine-state') || {}).textContent"
            "      + ', states ' + document.body.dataset.states));"
            "    setTimeout(poll, 20);"
            "  })();"
            "})";
        // A page still on its way in destroys the context the script began in: try again.
        for (int attempt = 0; attempt < 50; ++attempt) {
            const json answer = Evaluate(script);
            if (answer.contains("result") && !answer["result"].contains("exceptionDetails")) {
                return answer["result"]["result"].value("value", "");
            }
            const std::string failure = answer.dump();
            if (failure.find("context") == std::string::npos) {
                return "failed: " + failure;
            }
        }
        return "failed: the page never settled";
    }

    // Clicks the page's own button of that id.
    bool Click(const std::string& id) {
        const json answer = Evaluate("(() => { const b = document.getElementById('" + id +
                                     "'); if (!b) return false; b.click(); return true; })()");
        return answer.contains("result") && answer["result"]["result"].value("value", false);
    }

    void Screenshot(const std::string& file) {
        const json shot = browser_.Call("Page.captureScreenshot", {{"format", "png"}}, session_);
        if (shot.contains("result")) {
            const std::string data = shot["result"].value("data", "");
            std::ofstream(file, std::ios::binary) << Base64Decode(data);
        }
    }

private:
    json Evaluate(const std::string& expression) {
        return browser_.Call(
            "Runtime.evaluate",
            {{"expression", expression}, {"awaitPromise", true}, {"returnByValue", true}},
            session_);
    }

    static std::string Base64Decode(const std::string& text) {
        static const std::string kAlphabet =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string bytes;
        std::uint32_t buffer = 0;
        int bits = 0;
        for (const char c : text) {
            const std::size_t value = kAlphabet.find(c);
            if (value == std::string::npos) {
                continue;
            }
            buffer = (buffer << 6) | static_cast<std::uint32_t>(value);
            bits += 6;
            if (bits >= 8) {
                bits -= 8;
                bytes.push_back(static_cast<char>((buffer >> bits) & 0xFF));
            }
        }
        return bytes;
    }

    Browser& browser_;
    std::string session_;
};

class BrowserTest : public HttpFrontTest {
protected:
    // The plug-in's own document, as arx-host hands it to the front.
    void Configure(Module& loaded, HttpFrontOptions& options) override {
        const OpenApiFetch document = FetchOpenApiDocument(loaded);
        ASSERT_TRUE(document.Ok()) << document.error;
        options.apiDocument = document.json;
    }
};

TEST_F(BrowserTest, ASearchFromThePagesButtonReachesTheGame) {
    const std::optional<std::string> chromium = FindChromium();
    ASSERT_TRUE(chromium) << "chromium is not installed; scripts/setup installs it";
    JoinLobby();
    StandingPlatformAnswers();
    Serve();

    char profile[] = "/tmp/arx-browser-XXXXXX";
    ASSERT_NE(mkdtemp(profile), nullptr);
    {
        Browser browser(*chromium, profile);
        ASSERT_TRUE(browser.Started());
        Page page(browser, "http://127.0.0.1:" + std::to_string(front->Port()) + "/");
        ASSERT_TRUE(page.Attached());
        EXPECT_EQ(page.WaitFor("document.getElementById('connection').dataset.connected === "
                               "'true' && document.getElementById('machine-state').textContent "
                               "=== 'Available'"),
                  "true");
        // The document the page lists has the plug-in's routes and the front's own paths.
        const std::string api =
            page.WaitFor("document.getElementById('api').textContent !== 'loading'",
                         "Array.from(document.querySelectorAll('#api .op'), (op) => "
                         "op.textContent).join('\\n')");
        for (const char* operation :
             {"POST /arx-matchmaking/v1/search", "POST /arx-matchmaking/v1/ready-check/accept",
              "GET /events", "GET /sim"}) {
            EXPECT_NE(api.find(operation), std::string::npos) << operation << " in\n" << api;
        }

        ASSERT_TRUE(page.Click("route-post-search"));
        // The search's event and the machine's state come as separate events of the stream, the
        // state at the end of the host's turn: wait for both.
        EXPECT_EQ(page.WaitFor("document.getElementById('search-state').textContent === "
                               "'Searching' && document.getElementById('machine-state')"
                               ".textContent === 'Searching'"),
                  "true");

        OnHost([&] {
            host.AdvanceBy(1.0);
            hood.gameflow.MoveTo("ReadyCheck");
        });
        EXPECT_EQ(page.WaitFor("document.getElementById('ready-check-state').textContent === "
                               "'InProgress' && document.getElementById('machine-state')"
                               ".textContent === 'ReadyCheck'"),
                  "true");
        ASSERT_TRUE(page.Click("route-post-accept"));
        EXPECT_EQ(page.WaitFor("document.getElementById('last-answer').textContent.startsWith("
                               "'204')"),
                  "true");

        OnHost([&] { hood.gameflow.MoveTo("RosterPick"); });
        EXPECT_EQ(page.WaitFor("document.getElementById('machine-state').textContent === "
                               "'WaitingForGame'",
                               "document.body.dataset.states"),
                  "Available,Searching,ReadyCheck,WaitingForGame");
        OnHost([&] { hood.gameflow.MoveTo("InProgress"); });
        EXPECT_EQ(page.WaitFor("document.getElementById('search-state').textContent === "
                               "'no search' && document.getElementById('machine-state')"
                               ".textContent === 'Available'"),
                  "true");
        // The page as the search left it, for a person to look at.
        page.Screenshot(::testing::TempDir() + "arx_browser_test_page.png");
    }
    std::filesystem::remove_all(profile);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
