#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "persistence/BDXCoreDataPersistenceManager.h"
#include "testing/DispatchTesting.h"

namespace bdx::testing {

// Opens the object store of the test's sandbox and waits until it is there.
inline void openStore() {
    BDXCoreDataPersistenceManager::sharedManager()->initializeCoreData();
    waitUntilIdle();
    ASSERT_TRUE(BDXCoreDataPersistenceManager::sharedManager()->hasAddedPersistentStore());
}

}  // namespace bdx::testing
