#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <cstdint>
#include <nlohmann/json.hpp>

#include "Logging/BDXInspector.h"
#include "foundation/Sandbox.h"
#include "platform/sys/VolumeCapacity.h"
#include "profiler/BrindlexSessionProfiler.h"

namespace {

constexpr std::uint64_t kMegabyte = 1048576;

using bdx::sys::VolumeCapacity;

TEST(StorageReading, ReportsTheSandboxVolumeInWholeMegabytes) {
    struct statvfs stats {};
    ASSERT_EQ(::statvfs(bdx::Sandbox::current().root().c_str(), &stats), 0);
    const auto total = static_cast<std::int64_t>(stats.f_blocks * stats.f_frsize / kMegabyte);

    const bdx::Value storage = BrindlexSessionProfiler::getStorage();
    ASSERT_TRUE(storage["used"].is_number_integer());
    EXPECT_EQ(storage["total"].get<std::int64_t>(), total);
    EXPECT_GE(storage["used"].get<std::int64_t>(), 0);
    EXPECT_LE(storage["used"].get<std::int64_t>(), total);
}

TEST(StorageReading, SizesAreCutToWholeMegabytesAndAFailedReadCountsAsZero) {
    // 100.9 MB in all with 40.99 MB free: each is cut before "used" is taken, as whole numbers.
    bdx::sys::setVolumeCapacityForTesting(
        VolumeCapacity{100 * kMegabyte + kMegabyte * 9 / 10, 40 * kMegabyte + kMegabyte * 99 / 100});
    bdx::Value storage = BrindlexSessionProfiler::getStorage();
    EXPECT_EQ(storage["total"].get<std::int64_t>(), 100);
    EXPECT_EQ(storage["used"].get<std::int64_t>(), 60);

    bdx::sys::setVolumeCapacityForTesting(std::optional<VolumeCapacity>{});
    storage = BrindlexSessionProfiler::getStorage();
    EXPECT_EQ(storage["total"].get<std::int64_t>(), 0);
    EXPECT_EQ(storage["used"].get<std::int64_t>(), 0);
}

TEST(StorageReading, TenMegabytesLeftIsLowAndElevenIsNot) {
    const auto withFree = [](std::uint64_t freeMegabytes) {
        bdx::sys::setVolumeCapacityForTesting(VolumeCapacity{500 * kMegabyte, freeMegabytes * kMegabyte});
        return BDXInspector::hasDiskSpaceAbove10Mega();
    };
    EXPECT_FALSE(withFree(10));
    EXPECT_TRUE(withFree(11));
    EXPECT_FALSE(withFree(0));
    // A volume that cannot be asked reads as full.
    bdx::sys::setVolumeCapacityForTesting(std::optional<VolumeCapacity>{});
    EXPECT_FALSE(BDXInspector::hasDiskSpaceAbove10Mega());
}

}  // namespace
