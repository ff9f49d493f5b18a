#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXLogLogger.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "core/BDXFeatures.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXNetworkLog.h"
#include "platform/store/ManagedObjectContext.h"
#include "testing/ConsoleCapture.h"
#include "tests/Logging/LoggingTestSupport.h"

namespace {

using bdx::store::ManagedObjectContext;

// Rows written straight into the store: they are not lines this logger added, so they do not count.
void insertRows(BDXLogLogger& logger, int count, const std::string& sessionId, double firstDate,
                const std::string& prefix) {
    BDXLogLogger::dataLayerService()->writeSync([&](const std::shared_ptr<ManagedObjectContext>& context) {
        for (int index = 0; index < count; ++index) {
            logger.addLog(prefix + std::to_string(index), "d", bdx::Date(firstDate + index), context);
        }
        for (const auto& row : context->executeFetchRequest(BDXLog::fetchRequest())) {
            auto log = std::dynamic_pointer_cast<BDXLog>(row);
            if (log->message()->rfind(prefix, 0) == 0) {
                log->setSessionId(sessionId);
            }
        }
    });
}

// Every row, oldest first, as "<session>|<message>".
std::vector<std::string> allRows() {
    std::vector<std::string> rows;
    BDXLogLogger::dataLayerService()->readSync([&rows](const std::shared_ptr<ManagedObjectContext>& context) {
        auto request = BDXLog::fetchRequest();
        request.sortDescriptors = {{"date", true}};
        for (const auto& row : context->executeFetchRequest(request)) {
            auto log = std::dynamic_pointer_cast<BDXLog>(row);
            rows.push_back(log->sessionId().value_or("") + "|" + log->message().value_or(""));
        }
    });
    return rows;
}

std::vector<std::string> messagesOf(const bdx::Value& logs) {
    std::vector<std::string> messages;
    for (const auto& log : logs) {
        messages.push_back(log["log_message"].get<std::string>());
    }
    return messages;
}

class LogLogger : public ::testing::Test {
  protected:
    // The real clock: lines added one after the other get dates in that order.
    void SetUp() override {
        bdx::testing::openStore();
        logger = BDXLogLogger::init();
    }
    void addLines(int count, const std::string& prefix) {
        for (int index = 0; index < count; ++index) {
            logger->addBDXLogWithFormat(prefix + std::to_string(index), std::nullopt, "d");
        }
        bdx::testing::waitUntilIdle();
    }
    std::shared_ptr<BDXLogLogger> logger;
};

TEST_F(LogLogger, ARecordHasExactlyItsThreeKeys) {
    bdx::testing::installVirtualClock()->advance(0.1234567);
    logger->addBDXLogWithFormat("%d apples", std::nullopt, "w");
    bdx::testing::waitUntilIdle();
    const bdx::Value logs = logger->loadLogsSynchronously();
    ASSERT_EQ(1u, logs.size());
    EXPECT_EQ((bdx::Value{{"log_message_date",
                           std::trunc((bdx::testing::VirtualClock::kStartDate + 0.1234567) * 1000)},
                          {"log_message", "%d apples"},
                          {"log_message_level", "w"}}),
              logs[0]);
    EXPECT_EQ("d", BDXLogLogger::defaultLogLevel());
}

TEST_F(LogLogger, FormatsOnlyWithAnArgumentList) {
    const std::vector<bdx::FormatArgument> arguments{bdx::FormatArgument::signedInteger(5),
                                                     bdx::FormatArgument::text("cart")};
    struct Case {
        std::string format;
        bool withArguments;
        std::string message;
    };
    for (const Case& c : {Case{"100% sure", false, "100% sure"}, Case{"%d%% of %@", false, "%d%% of %@"},
                          Case{"%d%% of %@", true, "5% of cart"}, Case{"50%", false, "50%"}}) {
        logger->clearAllLogs();
        logger->addBDXLogWithFormat(
            c.format,
            c.withArguments ? std::optional<std::span<const bdx::FormatArgument>>(arguments) : std::nullopt,
            "i");
        bdx::testing::waitUntilIdle();
        EXPECT_EQ(std::vector<std::string>{c.message}, messagesOf(logger->loadLogsSynchronously()))
            << c.format;
    }
}

TEST_F(LogLogger, StoresUnderTheFeatureAndPrintsOnlyWithADebuggerAndTheHostsPermission) {
    bdx::testing::ConsoleCapture capture;
    struct Case {
        bool feature, debugger, allowed;
        bool stored, printed;
    };
    int line = 0;
    for (const Case& c : {Case{false, true, true, false, false}, Case{true, false, true, true, false},
                          Case{true, true, false, true, false}, Case{true, true, true, true, true}}) {
        BDXDefaults::getInstance()->features()->setBDXLog(c.feature);
        BDXInspector::overrideDebuggerAttached(c.debugger);
        BDXDefaults::getInstance()->setAllowBDXLogToPrintInConsoleLog(c.allowed);
        const std::string text = "line " + std::to_string(line++);
        logger->addBDXLogWithFormat(text, std::nullopt, "d");
        bdx::testing::waitUntilIdle();
        const auto rows = allRows();
        EXPECT_EQ(c.stored,
                  std::find(rows.begin(), rows.end(), BDXInspector::sessionUUID() + "|" + text) != rows.end())
            << text;
        EXPECT_EQ(c.printed, capture.contains(bdx::Console::Channel::StandardOutput, "] " + text)) << text;
    }
    BDXDefaults::getInstance()->features()->setBDXLog(false);
    BDXInspector::BDXNSLog("console line", 0);
    EXPECT_EQ(1u, BDXInspector::getConsoleLog().size()) << "the console ring does not follow the feature";
}

TEST_F(LogLogger, ReadsTheNewest1000LinesOfThisSessionOldestFirst) {
    insertRows(*logger, 1500, BDXInspector::sessionUUID(), 1000.0, "line ");
    insertRows(*logger, 20, "another session", 5000.0, "other ");
    const std::vector<std::string> synchronous = messagesOf(logger->loadLogsSynchronously());
    ASSERT_EQ(1000u, synchronous.size());
    EXPECT_EQ("line 500", synchronous.front());
    EXPECT_EQ("line 1499", synchronous.back());

    int calls = 0;
    std::vector<std::string> asynchronous;
    logger->loadSnapshotSynchronously(false, [&](const bdx::Value& logs) {
        ++calls;
        asynchronous = messagesOf(logs);
    });
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(1, calls);
    EXPECT_EQ(synchronous, asynchronous);
}

TEST_F(LogLogger, AFailedReadAnswersTwiceWithNothing) {
    logger->addBDXLogWithFormat("kept", std::nullopt, "d");
    bdx::testing::waitUntilIdle();
    // Another connection takes the table away under the store.
    sqlite3* database = nullptr;
    ASSERT_EQ(SQLITE_OK,
              sqlite3_open(BDXCoreDataPersistenceManager::sharedManager()->storeURL().c_str(), &database));
    char* failure = nullptr;
    const int dropped = sqlite3_exec(database, "DROP TABLE \"BrindlexLog\"", nullptr, nullptr, &failure);
    sqlite3_free(failure);
    sqlite3_close(database);
    ASSERT_EQ(SQLITE_OK, dropped);

    std::vector<bdx::Value> answers;
    logger->loadLogsAsynchronouslyWithCompletionHandler(
        [&answers](const bdx::Value& logs) { answers.push_back(logs); });
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ(bdx::Value::array(), answers[0]);
    EXPECT_EQ(bdx::Value::array(), answers[1]);
    EXPECT_EQ(bdx::Value::array(), logger->loadLogsSynchronously());
}

TEST_F(LogLogger, PurgeKeepsItsArithmetic) {
    struct Case {
        int olderRows;       // rows of an earlier session, older than every line
        int lines;           // lines added by a fresh logger, then waited for
        int moreLines;       // lines added after that
        std::size_t rows;    // rows in the store at the end
        std::int64_t count;  // the logger's count at the end
        std::string oldest;  // the oldest row left
    };
    for (const Case& c :
         {Case{0, 999, 0, 999, 999, "line 0"}, Case{0, 1000, 1, 1000, 1000, "line 1"},
          Case{300, 1000, 1, 1001, 701, "line 0"}, Case{2500, 1000, 2, 1000, -1500, "line 2"}}) {
        const std::string name = std::to_string(c.olderRows) + " + " + std::to_string(c.lines) + " + " +
                                 std::to_string(c.moreLines);
        logger->clearAllLogs();
        bdx::testing::waitUntilIdle();
        logger = BDXLogLogger::init();
        insertRows(*logger, c.olderRows, "earlier session", 0.0, "old ");
        addLines(c.lines, "line ");
        addLines(c.moreLines, "more ");
        const auto rows = allRows();
        EXPECT_EQ(c.rows, rows.size()) << name;
        EXPECT_EQ(c.count, logger->logsCount()) << name;
        ASSERT_FALSE(rows.empty()) << name;
        EXPECT_EQ(BDXInspector::sessionUUID() + "|" + c.oldest, rows.front()) << name;
    }
}

TEST_F(LogLogger, AnEmptiedStoreMakesTheCountRiseOnEveryPurge) {
    addLines(1000, "line ");
    logger->clearAllLogs();
    bdx::testing::waitUntilIdle();
    addLines(1, "after ");
    // 1001 lines added, one row: the purge takes off 1 - 1000.
    EXPECT_EQ(2000, logger->logsCount());
    EXPECT_EQ(1u, allRows().size());
}

TEST(LogLoggerStore, OpeningTheStoreClearsOtherSessionsAndKeepsThisOne) {
    auto logger = BDXLogLogger::init();
    // Written before the store is there: they wait for it in the private context.
    insertRows(*logger, 3, "earlier session", 10.0, "old ");
    insertRows(*logger, 2, BDXInspector::sessionUUID(), 20.0, "now ");
    bdx::testing::openStore();
    EXPECT_EQ((std::vector<std::string>{BDXInspector::sessionUUID() + "|now 0",
                                        BDXInspector::sessionUUID() + "|now 1"}),
              allRows());
}

TEST(LogLoggerStore, TheDataStoreHandsOverNetworkThenLogRequestsForEveryRow) {
    const auto requests = BDXDataStore::getInstance()->logsFetchRequests();
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ(BDXNetworkLog::entityName(), requests[0].entityName);
    EXPECT_EQ("BrindlexLog", requests[1].entityName);
    for (const auto& request : requests) {
        EXPECT_EQ(nullptr, request.predicate);
        EXPECT_EQ(0u, request.fetchLimit);
    }
}

}  // namespace
