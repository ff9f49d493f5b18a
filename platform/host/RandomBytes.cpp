#include "platform/host/RandomBytes.h"

#include <openssl/rand.h>

#include <algorithm>
#include <climits>

#include "platform/PlatformLog.h"

namespace bdx::host {

bool randomBytes(std::uint8_t* out, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const int chunk = static_cast<int>(std::min<std::size_t>(count - done, INT_MAX));
        if (RAND_bytes(out + done, chunk) != 1) {
            platformLog("host", "the system's random generator failed; identifiers are not random");
            std::fill(out, out + count, std::uint8_t{0});
            return false;
        }
        done += static_cast<std::size_t>(chunk);
    }
    return true;
}

}  // namespace bdx::host
