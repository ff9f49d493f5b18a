// The demo host application: it embeds the library the way a host without an event loop of its own does,
// plays the public layer's start, and then a user's day through the application's notifications. Each run
// is one launch of the application; two runs over one sandbox are a relaunch.
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Logging/BDXEventLogger.h"
#include "Logging/BDXUserAttributesLogger.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "core/BDXIntializationManager.h"
#include "core/BrindlexCore.h"
#include "foundation/BlockOperation.h"
#include "foundation/Clock.h"
#include "foundation/DispatchQueue.h"
#include "foundation/NotificationCenter.h"
#include "foundation/Operation.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheManager.h"
#include "platform/gfx/Geometry.h"
#include "platform/host/Info.h"
#include "platform/ui/Application.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Screen.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "sessions/BDXSession.h"
#include "sessions/BDXSessionManager.h"
#include "transport/BDXServerManager.h"
#include "transport/BDXServersQueue.h"
#include "tools/demo/NetworkLogDemo.h"

namespace {

constexpr const char* kUsage = R"(usage: demo [--sandbox DIR] [--token TOKEN]
       demo --transcript FILE

Runs a host application that embeds BrindlexCore and plays one launch of a user's day: the start-up of
the library, a first screen, a second one, the background, the foreground, more use and the background
again. Each begin and end of a session is printed as it happens.

  --sandbox DIR     the application's sandbox (its preferences, caches and logs); by default
                    BRINDLEX_SANDBOX when set, else a fresh folder, printed. Run twice over the same
                    folder to relaunch the application: the sessions saved at the last background are
                    delivered by the next launch.
  --token TOKEN     the application token (default: demo-app-token)
  --transcript FILE reads the request records of the reference collector (a JSON array, as its
                    GET /_collector/requests answers; - for standard input) and prints what the
                    service received, then exits

The service is https://api.brindlex.com/api/sdk/v3 unless BRINDLEX_BASE_URL names another (the
reference collector on loopback, say). The user's day runs on a scripted clock: the minutes the user
spends on each screen pass at once, and are carried on from launch to launch in the sandbox, so that
durations and start times read as a real day while a run takes a moment.
)";

// Wall time of the user's day: the real time plus the minutes the script has let pass. Deadlines stay on
// the real monotonic clock, so that the library's timers and retries keep their real pace.
class ScriptedDayClock : public bdx::Clock {
  public:
    ScriptedDayClock(std::shared_ptr<bdx::Clock> real, double offset)
        : real_(std::move(real)), offset_(offset) {}
    double now() const override { return real_->now() + offset_.load(); }
    double monotonicNow() const override { return real_->monotonicNow(); }
    void pass(double seconds) { offset_.store(offset_.load() + seconds); }
    double offset() const { return offset_.load(); }

  private:
    const std::shared_ptr<bdx::Clock> real_;
    std::atomic<double> offset_;
};

// The scripted time of the last launch is kept beside the sandbox's folders, so that the next launch
// starts after it.
std::filesystem::path clockFile() {
    return bdx::Sandbox::current().root() / "demo-scripted-clock";
}

double restoredOffset(double realNow) {
    std::ifstream in(clockFile());
    double lastScriptedTime = 0;
    if (in >> lastScriptedTime && lastScriptedTime > realNow) {
        return lastScriptedTime - realNow + 1;
    }
    return 0;
}

// Written aside and renamed over the old file: the process may be killed at any moment, and a torn file
// would start the next launch back at the real time, in the very second of an earlier session.
void keepScriptedTime(double scriptedNow) {
    const auto aside = clockFile().string() + ".new";
    {
        std::ofstream out(aside, std::ios::trunc);
        out << std::fixed << scriptedNow << '\n';
    }
    std::error_code ignored;
    std::filesystem::rename(aside, clockFile(), ignored);
}

// Lines are flushed at once: a test reads them while the process runs, and may kill it after any of them.
template <typename... Args>
void say(const char* format, Args... args) {
    std::printf(format, args...);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string describe(const std::shared_ptr<BDXSession>& session) {
    return "session " + std::to_string(session->sessionNumber()) + " (started_at " + session->identifier() +
           ")";
}

// Runs on the main queue and waits for it, as the host's own event loop would run its handlers.
template <typename Work>
void onMain(Work&& work) {
    bdx::DispatchQueue::main()->sync(std::forward<Work>(work));
}

struct ScriptedUI {
    std::shared_ptr<bdx::ui::Window> window;
    std::shared_ptr<bdx::ui::NavigationController> navigation;
};

ScriptedUI buildUI() {
    using namespace bdx::ui;
    ScriptedUI ui;
    ui.window = Window::make(Screen::mainScreen()->bounds(), "DemoAppWindow");
    auto inbox = ViewController::make("DemoInboxViewController");
    inbox->view()->addSubview(View::make(bdx::gfx::Rect{0, 100, 375, 60}, "DemoMessageRow"));
    ui.navigation = NavigationController::initWithRootViewController(inbox);
    ui.window->setRootViewController(ui.navigation);
    ui.window->makeKeyAndVisible();
    Application::sharedApplication()->setDelegateWindow(ui.window);
    return ui;
}

void enterBackground(ScriptedDayClock& clock) {
    onMain([] {
        auto application = bdx::ui::Application::sharedApplication();
        application->resignActive();
        application->enterBackground();
        auto session = BDXSessionManager::getInstance()->currentSession();
        auto parameters = session ? session->requestParameters() : nullptr;
        if (BDXSessionManager::isSendingSessionDisabled() || !parameters) {
            say("background   %s ended; sending sessions is off, nothing saved", describe(session).c_str());
        } else {
            say("saved        %s, duration %lld s", describe(session).c_str(),
                static_cast<long long>(parameters->value("duration", 0)));
        }
    });
    keepScriptedTime(clock.now());
}

void enterForeground(ScriptedDayClock& clock) {
    onMain([] {
        auto application = bdx::ui::Application::sharedApplication();
        application->enterForeground();
        application->becomeActive();
        say("foreground   %s began, sent at once",
            describe(BDXSessionManager::getInstance()->currentSession()).c_str());
    });
    keepScriptedTime(clock.now());
}

// Until no request waits in the pipeline or runs, for at most `seconds`. A failed request is pushed again
// after its delay; the demo does not wait for that.
void waitForDeliveries(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    auto manager = BDXServerManager::getInstance();
    // Requests are pushed through the manager's queue: what was pushed before this call is in its list after
    // one round through that queue.
    manager->serverManagerQueue()->sync([] {});
    while (std::chrono::steady_clock::now() < deadline) {
        if (manager->servers()->serverRequests().empty() && !manager->isExecutingRequest()) {
            // The last answer's callback (which takes a delivered record out of the cache) runs on the main
            // queue: let it end.
            onMain([] {});
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    say("waiting      gave up after %.0f s with requests still on their way", seconds);
}

// The user spends time on a screen. Meanwhile what was sent is answered, as it would be in those minutes:
// the script waits for the pipeline, then lets the scripted minutes pass.
void spend(ScriptedDayClock& clock, double seconds, const char* what) {
    waitForDeliveries(5);
    clock.pass(seconds);
    keepScriptedTime(clock.now());
    say("activity     %s (%.0f s)", what, seconds);
}

int printTranscript(const std::string& file) {
    std::string text;
    if (file == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    } else {
        std::ifstream in(file);
        text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    const auto records = nlohmann::ordered_json::parse(text, nullptr, false);
    if (!records.is_array()) {
        std::fprintf(stderr, "demo: %s holds no list of request records\n", file.c_str());
        return 1;
    }
    std::printf("The service received %zu requests:\n", records.size());
    for (const auto& record : records) {
        const std::string path = record.value("path", "");
        const std::string method = record.value("method", "");
        std::printf("  #%-3lld %-4s %-22s %lld", static_cast<long long>(record.value("index", 0)),
                    method.c_str(), path.c_str(), static_cast<long long>(record.value("status", 0)));
        const auto& json = record.contains("json") ? record["json"] : nlohmann::ordered_json();
        if (path.size() >= 9 && path.compare(path.size() - 9, 9, "/sessions") == 0 && json.is_object()) {
            std::printf("  started_at %s  duration %lld s  %s", json.value("started_at", "?").c_str(),
                        static_cast<long long>(json.value("duration", -1)),
                        json.contains("session_number")
                            ? ("session_number " + json["session_number"].dump()).c_str()
                            : "no session_number");
            std::string events;
            for (const auto& event : json.value("user_events", nlohmann::ordered_json::array())) {
                events += (events.empty() ? "" : ",") + event.value("event", std::string("?"));
            }
            std::printf("  custom_attributes %s  user_events [%s]",
                        json.value("custom_attributes", nlohmann::ordered_json::object()).dump().c_str(),
                        events.c_str());
        } else if (record.contains("query") && record["query"].is_object() && !record["query"].empty()) {
            std::printf("  query %s", record["query"].dump().c_str());
        }
        if (record.contains("error") && record["error"].is_string()) {
            std::printf("  refused: %s", record["error"].get<std::string>().c_str());
        }
        std::printf("\n");
    }
    if (!records.empty() && records.back().contains("folder") && records.back()["folder"].is_string()) {
        const std::filesystem::path folder = records.back()["folder"].get<std::string>();
        std::printf("The requests lie in %s (one folder each: request.json, body.bin)\n",
                    folder.parent_path().c_str());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string sandbox;
    std::string token = "demo-app-token";
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if ((argument == "--sandbox" || argument == "--token" || argument == "--transcript") &&
            i + 1 < argc) {
            const std::string value = argv[++i];
            if (argument == "--transcript") {
                return printTranscript(value);
            }
            (argument == "--sandbox" ? sandbox : token) = value;
            continue;
        }
        std::fprintf(stderr, "demo: unknown argument %s\n\n%s", argument.c_str(), kUsage);
        return 2;
    }
    if (const char* root = std::getenv("BRINDLEX_SANDBOX"); sandbox.empty() && root && *root) {
        sandbox = root;
    }
    if (sandbox.empty()) {
        char folder[] = "/tmp/brindlex-demo-XXXXXX";
        if (!::mkdtemp(folder)) {
            std::perror("demo: mkdtemp");
            return 1;
        }
        sandbox = folder;
    }
    std::filesystem::create_directories(sandbox);
    bdx::Sandbox::setRoot(sandbox);

    auto realClock = bdx::Clock::current();
    auto clock = std::make_shared<ScriptedDayClock>(realClock, restoredOffset(realClock->now()));
    bdx::Clock::install(clock);
    bdx::RunLoop::startEmbeddedMainThread();

    const auto info = bdx::host::Info::shared();
    say("BrindlexCore %s in %s %s (%s) on %s %s", BrindlexCoreVersionString, info->bundleName().c_str(),
        info->shortVersionString().c_str(), info->bundleIdentifier().c_str(), info->systemName().c_str(),
        info->systemVersion().c_str());
    say("sandbox      %s", sandbox.c_str());
    say("service      %s", BDXDefaults::getInstance()->baseURL().c_str());

    // The public layer's start: the start-up operations one at a time in their order, then, once the service
    // can be reached (a request pushed before the reachability operation would wait in the list for the next
    // change of the network), the token, which starts the daily feature check, and the mark that the library
    // was started.
    ScriptedUI ui;
    onMain([&] { ui = buildUI(); });
    auto startup = BDXIntializationManager::getInstance();
    startup->addOperations(BDXIntializationManager::startupOperations());
    auto started = bdx::BlockOperation::blockOperationWithBlock([&token] {
        // From the main thread, as a host calls it: the check it starts is queued behind this call there,
        // and so reads the new token.
        onMain([&token] { BDXDataStore::getInstance()->setAppToken(token); });
        BDXDataStore::getInstance()->brindlexInitialized();
    });
    startup->addOperation(started);
    started->waitUntilFinished();
    onMain([] {});  // the first session begins on the main queue, after the operations handed it over
    onMain([] {
        bdx::ui::Application::sharedApplication()->becomeActive();
        say("launch       %s began", describe(BDXSessionManager::getInstance()->currentSession()).c_str());
    });

    // What the host tells about its user: attributes that stay from launch to launch, and events of this run.
    BDXUserAttributesLogger::sharedInstance()->setUserAttribute("pro", "plan");
    BDXUserAttributesLogger::sharedInstance()->setUserAttribute("eu-west", "region");
    BDXEventLogger::sharedInstance()->addEventLogWithName("inbox_opened",
                                                          nlohmann::ordered_json{{"unread", 3}});
    say("user         attributes plan=pro region=eu-west; event inbox_opened");
    spend(*clock, 95, "reads the inbox");
    onMain([&] {
        ui.navigation->pushViewController(bdx::ui::ViewController::make("DemoMessageViewController"), true);
    });
    BDXEventLogger::sharedInstance()->addEventLogWithName("message_opened",
                                                          nlohmann::ordered_json{{"position", 1}});
    say("user         event message_opened");
    spend(*clock, 140, "opens a message");
    enterBackground(*clock);
    spend(*clock, 600, "the application waits in the background");
    enterForeground(*clock);
    onMain([&] { ui.navigation->popViewControllerAnimated(true); });
    spend(*clock, 45, "goes back to the inbox");
    enterBackground(*clock);

    waitForDeliveries(10);
    const auto cache = BDXCacheManager::getInstance()->getCacheWithClass("BDXSession");
    const auto waiting = cache ? cache->getAllObjects() : BDXCache::Models();
    say("cache        %zu session record(s) wait for the next launch", waiting.size());
    for (const auto& model : waiting) {
        if (auto session = std::dynamic_pointer_cast<BDXSession>(model)) {
            say("               %s", describe(session).c_str());
        }
    }
    for (const auto& line : logOwnNetworkExchange(BDXDefaults::getInstance()->baseURL())) {
        say("%s", line.c_str());
    }
    bdx::RunLoop::stopEmbeddedMainThread();
    return 0;
}
