#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "platform/net/URLError.h"
#include "platform/net/URLSession.h"
#include "tests/net/NetTestSupport.h"

namespace bdx::net {
namespace {

using testing::RecordingDelegate;

TEST(URLSessionTest, TaskIdentifiersCountFromOnePerSession) {
    auto first = URLSession::sessionWithConfiguration(URLSessionConfiguration::defaultSessionConfiguration());
    auto second =
        URLSession::sessionWithConfiguration(URLSessionConfiguration::defaultSessionConfiguration());
    const URLRequest request("http://127.0.0.1:9/");
    std::vector<unsigned long> identifiers = {
        first->dataTaskWithRequest(request)->taskIdentifier(),
        first->uploadTaskWithRequestFromFile(request, "/nonexistent")->taskIdentifier(),
        first->uploadTaskWithRequestFromData(request, Data{1})->taskIdentifier(),
        second->dataTaskWithRequest(request)->taskIdentifier(),
    };
    EXPECT_EQ(identifiers, (std::vector<unsigned long>{1, 2, 3, 1}));
    EXPECT_EQ(first->outstandingTaskCount(), 3u);
    first->invalidateAndCancel();
    second->invalidateAndCancel();
}

TEST(URLSessionTest, CancellingASuspendedTaskCompletesItAsCancelledOnTheDelegateQueue) {
    auto delegate = std::make_shared<RecordingDelegate>();
    auto queue = DispatchQueue::create("test.delegate");
    auto session = URLSession::sessionWithConfiguration(
        URLSessionConfiguration::defaultSessionConfiguration(), delegate, queue);
    auto task = session->dataTaskWithRequest(URLRequest("http://127.0.0.1:9/never"));
    EXPECT_EQ(task->state(), URLSessionTaskState::Suspended);
    task->cancel();
    task->cancel();  // a second cancel changes nothing
    task->resume();  // nor does resuming what is over

    ASSERT_TRUE(delegate->waitForCompletions(1));
    queue->sync([] {});  // anything queued after the completion has run
    std::lock_guard lock(delegate->mutex);
    ASSERT_EQ(delegate->completions.size(), 1u);
    ASSERT_TRUE(delegate->completions[0].error);
    EXPECT_EQ(delegate->completions[0].error->domain(), Error::URLErrorDomain);
    EXPECT_EQ(delegate->completions[0].error->code(), URLErrorCode::cancelled);
    EXPECT_EQ(task->state(), URLSessionTaskState::Completed);
    EXPECT_FALSE(delegate->onMainThread);
}

TEST(URLSessionTest, InvalidationRefusesNewTasksAndIsReportedOnceTheLastTaskEnds) {
    auto delegate = std::make_shared<RecordingDelegate>();
    auto session = URLSession::sessionWithConfiguration(
        URLSessionConfiguration::defaultSessionConfiguration(), delegate);
    auto task = session->dataTaskWithRequest(URLRequest("http://127.0.0.1:9/"));
    session->finishTasksAndInvalidate();
    EXPECT_EQ(session->dataTaskWithRequest(URLRequest("http://127.0.0.1:9/")), nullptr);
    session->delegateQueue()->sync([] {});
    EXPECT_FALSE(delegate->invalidated.contains(session.get()))
        << "reported while a task was still outstanding";

    session->invalidateAndCancel();
    ASSERT_TRUE(delegate->waitFor([&] { return delegate->invalidated.contains(session.get()); }));
    std::lock_guard lock(delegate->mutex);
    ASSERT_EQ(delegate->completions.size(), 1u);
    EXPECT_EQ(delegate->completions[0].error->code(), URLErrorCode::cancelled);
}

TEST(URLSessionTest, ATaskWhoseDelegateIsGoneCompletesQuietly) {
    auto delegate = std::make_shared<RecordingDelegate>();
    auto session = URLSession::sessionWithConfiguration(
        URLSessionConfiguration::defaultSessionConfiguration(), delegate);
    auto task = session->dataTaskWithRequest(URLRequest("http://127.0.0.1:9/"));
    delegate.reset();
    task->cancel();
    session->delegateQueue()->sync([] {});
    EXPECT_EQ(task->state(), URLSessionTaskState::Completed);
    EXPECT_EQ(session->outstandingTaskCount(), 0u);
}

}  // namespace
}  // namespace bdx::net
