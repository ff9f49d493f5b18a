#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "persistence/BDXAnalytics.h"
#include "persistence/BDXAnalyticsParam.h"
#include "persistence/BDXEventLog.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXNetworkLog.h"
#include "persistence/BDXNetworkLoggerContextProvider.h"
#include "persistence/BDXUserStep.h"
#include "tests/persistence/StoreManagerTestSupport.h"

namespace {

using bdx::Date;
using bdx::store::FetchRequest;
using bdx::store::ManagedObjectContext;
using Strings = std::vector<std::string>;
using StoreEntities = bdx::testing::StoreManagerTest;

template <class T>
std::shared_ptr<T> insert(ManagedObjectContext& context) {
    return std::dynamic_pointer_cast<T>(context.insertNewObjectForEntityForName(T::entityName()));
}

TEST_F(StoreEntities, EachClassNamesItsEntityAndComesBackFromAFetch) {
    openStore();
    auto context = manager()->privateContext();
    context->performBlockAndWait([&] {
        struct Case {
            std::string entityName;
            FetchRequest request;
            const char* expected;
            bool (*isOfClass)(const std::shared_ptr<bdx::store::ManagedObject>&);
        };
        const Case cases[] = {
            {BDXLog::entityName(), BDXLog::fetchRequest(), "BrindlexLog",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXLog>(o); }},
            {BDXNetworkLog::entityName(), BDXNetworkLog::fetchRequest(), "NetworkLog",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXNetworkLog>(o); }},
            {BDXUserStep::entityName(), BDXUserStep::fetchRequest(), "UserStep",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXUserStep>(o); }},
            {BDXEventLog::entityName(), BDXEventLog::fetchRequest(), "EventLog",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXEventLog>(o); }},
            {BDXAnalytics::entityName(), BDXAnalytics::fetchRequest(), "Analytic",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXAnalytics>(o); }},
            {BDXAnalyticsParam::entityName(), BDXAnalyticsParam::fetchRequest(), "AnalyticsParam",
             [](const auto& o) { return !!std::dynamic_pointer_cast<BDXAnalyticsParam>(o); }},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(c.expected);
            EXPECT_EQ(c.expected, c.entityName);
            EXPECT_EQ(c.expected, c.request.entityName);
            EXPECT_FALSE(c.request.predicate);
            EXPECT_EQ(0u, c.request.fetchLimit);
            context->insertNewObjectForEntityForName(c.entityName);
        }
        ASSERT_TRUE(context->save());
    });
    // Fetched in a context of their own, from the file's rows.
    relaunch();
    openStore();
    context = manager()->privateContext();
    context->performBlockAndWait([&] {
        for (const auto& request :
             {BDXLog::fetchRequest(), BDXNetworkLog::fetchRequest(), BDXUserStep::fetchRequest(),
              BDXEventLog::fetchRequest(), BDXAnalytics::fetchRequest(), BDXAnalyticsParam::fetchRequest()}) {
            auto objects = context->executeFetchRequest(request);
            ASSERT_EQ(1u, objects.size()) << request.entityName;
            EXPECT_NE(typeid(bdx::store::ManagedObject), typeid(*objects[0])) << request.entityName;
        }
    });
}

TEST_F(StoreEntities, NamedFetchRequestsSelectSortAndLimitAsTheirNamesSay) {
    openStore();
    auto context = manager()->privateContext();
    context->performBlockAndWait([&] {
        struct Line {
            const char* session;
            double date;
            const char* text;
        };
        for (const Line& line :
             {Line{"s1", 1, "a"}, Line{"s1", 3, "c"}, Line{"s1", 2, "b"}, Line{"s2", 4, "d"}}) {
            insertLog(*context, line.text, line.session, line.date);
            auto network = insert<BDXNetworkLog>(*context);
            network->setSessionId(line.session);
            network->setDate(Date(line.date));
            network->setUrl(std::string("https://") + line.text);
        }
        struct Step {
            const char* identifier;
            const char* reportId;
            const char* type;
        };
        for (const Step& s :
             {Step{"s1", "r1", "tap"}, Step{"s1", "r2", "swipe"}, Step{"s2", "r1", "shake"}}) {
            auto step = insert<BDXUserStep>(*context);
            step->setIdentifier(s.identifier);
            step->setReportId(s.reportId);
            step->setEventType(s.type);
        }
        for (const char* name : {"tap", "swipe", "open"})
            insert<BDXEventLog>(*context)->setName(name);
        struct Call {
            const char* method;
            double date;
            const char* text;
        };
        for (const Call& c : {Call{"m1", 10, "first"}, Call{"m2", 20, "second"}, Call{"m1", 30, "third"}}) {
            auto call = insert<BDXAnalytics>(*context);
            call->setMethodLog(c.method);
            call->setTimeStamp(Date(c.date));
            call->setEventLog(c.text);
        }
        ASSERT_TRUE(context->save());

        struct Case {
            const char* what;
            FetchRequest request;
            const char* key;
            Strings expected;
        };
        const Case cases[] = {
            {"newest two lines of s1", BDXLog::logsFetchRequestWithMaxCount(2, "s1"), "message", {"c", "b"}},
            {"lines of other sessions", BDXLog::fetchRequestWithSessionIdNotEqual("s1"), "message", {"d"}},
            {"newest transaction of s1",
             BDXNetworkLog::logsFetchRequestWithMaxCount(1, "s1"),
             "url",
             {"https://c"}},
            {"transactions of other sessions",
             BDXNetworkLog::fetchRequestWithSessionIdNotEqual("s2"),
             "url",
             {"https://a", "https://c", "https://b"}},
            {"steps of a session",
             BDXUserStep::userStepslogFetchRequestWithID("s1"),
             "eventType",
             {"tap", "swipe"}},
            {"steps of a report",
             BDXUserStep::userStepslogFetchRequestWithReportId("r1"),
             "eventType",
             {"tap", "shake"}},
            {"event by name", BDXEventLog::eventlogFetchRequestWithName("swipe"), "name", {"swipe"}},
            {"two events", BDXEventLog::eventlogsFetchRequestWithMaxCount(2), "name", {"tap", "swipe"}},
            {"every event", BDXEventLog::eventlogsFetchRequest(), "name", {"tap", "swipe", "open"}},
            {"calls of a method",
             BDXAnalytics::fetchRequestWithMethodName("m1"),
             "eventLog",
             {"first", "third"}},
            {"calls up to a date, inclusive",
             BDXAnalytics::fetchRequestTillDate(Date(20)),
             "eventLog",
             {"first", "second"}},
        };
        for (const auto& c : cases) {
            Strings found;
            for (const auto& object : context->executeFetchRequest(c.request))
                found.push_back(object->stringForKey(c.key).value_or("<absent>"));
            EXPECT_EQ(c.expected, found) << c.what;
        }
    });
}

TEST_F(StoreEntities, ContentTypeLivesOnlyOnTheObjectInMemory) {
    openStore();
    auto service =
        BDXDALService::initWithContextProvider(std::make_shared<BDXNetworkLoggerContextProvider>());
    service->writeSync([](const auto& context) {
        auto log = insert<BDXNetworkLog>(*context);
        log->setContentType(5);
        log->setStatusCode(0);
        log->setResponseBody("The network connection was lost.");
        EXPECT_EQ(5u, log->contentType());
    });
    service->readSync([](const auto& context) {
        auto logs = context->executeFetchRequest(BDXNetworkLog::fetchRequest());
        ASSERT_EQ(1u, logs.size());
        auto log = std::dynamic_pointer_cast<BDXNetworkLog>(logs[0]);
        EXPECT_EQ(0u, log->contentType());
        EXPECT_EQ("The network connection was lost.", log->responseBody());
        EXPECT_TRUE(log->requestBody().is_null());
    });
}

TEST_F(StoreEntities, CopyTakesACallWithItsParametersIntoAnotherContextOnceEach) {
    openStore();
    auto source = logService()->contextProvider()->newContext();
    auto target = logService()->contextProvider()->newContext();
    std::shared_ptr<BDXAnalyticsParam> first;
    source->performBlockAndWait([&] {
        auto call = insert<BDXAnalytics>(*source);
        call->setMethodLog("logUserEvent:");
        call->setCount(2);
        call->setIsDeprecated(true);
        call->setTimeStamp(Date(5));
        for (const char* name : {"n1", "n2"}) {
            auto param = insert<BDXAnalyticsParam>(*source);
            param->setName(name);
            param->setValue(std::string("v-") + name);
            param->setAnalytic(call);
            if (!first)
                first = param;
        }
    });
    // Starting from one parameter: the call and its other parameter come along, and the cycle ends.
    auto copy = std::dynamic_pointer_cast<BDXAnalyticsParam>(manager()->copyObject(first, target));
    ASSERT_TRUE(copy);
    EXPECT_EQ(target, copy->managedObjectContext());
    ASSERT_EQ(1u, target->executeFetchRequest(BDXAnalytics::fetchRequest()).size());
    EXPECT_EQ(2u, target->executeFetchRequest(BDXAnalyticsParam::fetchRequest()).size());
    auto call = copy->analytic();
    ASSERT_TRUE(call);
    EXPECT_EQ("logUserEvent:", call->methodLog());
    EXPECT_EQ(2, call->count());
    EXPECT_TRUE(call->isDeprecated());
    EXPECT_EQ(Date(5), call->timeStamp());
    std::set<std::string> values;
    for (const auto& param : call->param())
        values.insert(param->value().value_or(""));
    EXPECT_EQ((std::set<std::string>{"v-n1", "v-n2"}), values);
    EXPECT_TRUE(source->hasChanges()) << "the source is left as it was";
    EXPECT_EQ(3u, source->executeFetchRequest(BDXAnalyticsParam::fetchRequest()).size() +
                      source->executeFetchRequest(BDXAnalytics::fetchRequest()).size());
}

}  // namespace
