#include "persistence/BDXAnalyticsContextProvider.h"

#include "foundation/Singleton.h"

std::shared_ptr<bdx::DispatchQueue> BDXAnalyticsContextProvider::queue() {
    return bdx::Singleton<bdx::DispatchQueue, BDXAnalyticsContextProvider>::holder().get(
        [] { return bdx::DispatchQueue::create("com.bdx.AnalyticsLoggerQueue"); });
}
