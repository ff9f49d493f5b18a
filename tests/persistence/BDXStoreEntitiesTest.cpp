#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "persistence/BDXAnalytics.h"
#include "persistence/BDXAnalyticsParam.h"
#include "persistence/BDXEventLog.h"
#include "persistence/BDXNetworkLog.h"
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

TEST_F(StoreEntities, NamedFetchRequestsSelectSortAndLimitAsTheirNamesSay) {
    openStore();
    auto context = manager()->privateContext();
    context->performBlockAndWait([&] {
        const std::tuple<const char*, double, const char*> lines[] = {
            {"s1", 1, "a"}, {"s1", 3, "c"}, {"s1", 2, "b"}, {"s2", 4, "d"}};
        for (const auto& [session, date, text] : lines) {
            insertLog(*context, text, session, date);
            auto network = insert<BDXNetworkLog>(*context);
            network->setSessionId(session);
            network->setDate(Date(date));
            network->setUrl(std::string("https://") + text);
        }
        const std::tuple<const char*, const char*, const char*> steps[] = {
            {"s1", "r1", "tap"}, {"s1", "r2", "swipe"}, {"s2", "r1", "shake"}};
        for (const auto& [identifier, reportId, type] : steps) {
            auto step = insert<BDXUserStep>(*context);
            step->setIdentifier(identifier);
            step->setReportId(reportId);
            step->setEventType(type);
        }
        for (const char* name : {"tap", "swipe", "open"})
            insert<BDXEventLog>(*context)->setName(name);
        const std::tuple<const char*, double, const char*> calls[] = {
            {"m1", 10, "first"}, {"m2", 20, "second"}, {"m1", 30, "third"}};
        for (const auto& [method, date, text] : calls) {
            auto call = insert<BDXAnalytics>(*context);
            call->setMethodLog(method);
            call->setTimeStamp(Date(date));
            call->setEventLog(text);
        }
        ASSERT_TRUE(context->save());

        struct Case {
            FetchRequest request;
            const char* key;
            Strings expected;
        };
        const Case cases[] = {
            {BDXLog::logsFetchRequestWithMaxCount(2, "s1"), "message", {"c", "b"}},
            {BDXLog::fetchRequestWithSessionIdNotEqual("s1"), "message", {"d"}},
            {BDXNetworkLog::logsFetchRequestWithMaxCount(1, "s1"), "url", {"https://c"}},
            {BDXNetworkLog::fetchRequestWithSessionIdNotEqual("s2"),
             "url",
             {"https://a", "https://c", "https://b"}},
            {BDXUserStep::userStepslogFetchRequestWithID("s1"), "eventType", {"tap", "swipe"}},
            {BDXUserStep::userStepslogFetchRequestWithReportId("r1"), "eventType", {"tap", "shake"}},
            {BDXEventLog::eventlogFetchRequestWithName("swipe"), "name", {"swipe"}},
            {BDXEventLog::eventlogsFetchRequestWithMaxCount(2), "name", {"tap", "swipe"}},
            {BDXEventLog::eventlogsFetchRequest(), "name", {"tap", "swipe", "open"}},
            {BDXAnalytics::fetchRequestWithMethodName("m1"), "eventLog", {"first", "third"}},
            {BDXAnalytics::fetchRequestTillDate(Date(20)), "eventLog", {"first", "second"}},  // inclusive
        };
        for (const auto& c : cases) {
            Strings found;
            for (const auto& object : context->executeFetchRequest(c.request))
                found.push_back(object->stringForKey(c.key).value_or("<absent>"));
            EXPECT_EQ(c.expected, found) << c.request.entityName << " by " << c.key;
        }
    });
}

TEST_F(StoreEntities, CopyTakesACallWithItsParametersIntoAnotherContextOnceEach) {
    openStore();
    auto source = logService()->contextProvider()->newContext();
    auto target = logService()->contextProvider()->newContext();
    auto call = insert<BDXAnalytics>(*source);
    call->setMethodLog("logUserEvent:");
    call->setTimeStamp(Date(5));
    std::vector<std::shared_ptr<BDXAnalyticsParam>> params;
    for (const char* value : {"v1", "v2"}) {
        params.push_back(insert<BDXAnalyticsParam>(*source));
        params.back()->setValue(std::string(value));
        params.back()->setAnalytic(call);
    }
    // From one parameter, the call and its other parameter come along, and the cycle back ends.
    auto copy = std::dynamic_pointer_cast<BDXAnalyticsParam>(manager()->copyObject(params[0], target));
    ASSERT_TRUE(copy && copy->analytic());
    EXPECT_EQ(target, copy->managedObjectContext());
    EXPECT_EQ(1u, target->executeFetchRequest(BDXAnalytics::fetchRequest()).size());
    EXPECT_EQ(2u, target->executeFetchRequest(BDXAnalyticsParam::fetchRequest()).size());
    EXPECT_EQ("logUserEvent:", copy->analytic()->methodLog());
    EXPECT_EQ(Date(5), copy->analytic()->timeStamp());
    std::set<std::string> values;
    for (const auto& param : copy->analytic()->param())
        values.insert(param->value().value_or(""));
    EXPECT_EQ((std::set<std::string>{"v1", "v2"}), values);
}

}  // namespace
