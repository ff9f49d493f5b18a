#include "archives/BDXGZIP.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <new>

#include "platform/host/Info.h"

namespace {

// zlib compares only the major digit of the version it is handed with its own, so the header version
// the encoder was written against is accepted by every 1.x library.
constexpr const char* kZlibVersion = "1.2.11";

constexpr std::size_t kDeflateChunk = 1024;

bool isSuccess(int status) {
    return status == Z_OK || status == Z_STREAM_END;
}

std::optional<bdx::Data> fail(bdx::Error* error, int status, const char* message) {
    if (error != nullptr) {
        // The host's strings table may word the message its own way; without an entry it stands as is.
        *error = bdx::Error::withDescription(kBDXGZIPErrorDomain, status,
                                             bdx::host::Info::shared()->localizedStringForKey(message, ""));
    }
    return std::nullopt;
}

// Calls `step` (deflate or inflate) with Z_FINISH until the stream ends or fails. Before each call the
// output is grown by `growth` bytes if the last call asked for room (Z_BUF_ERROR) or filled it exactly;
// the call is offered all of the output not yet written. `out` may hold more than `length` bytes: its
// capacity grows geometrically, but zlib only ever sees the logical length.
int pump(z_stream& stream, int (*step)(z_streamp, int), bdx::Data& out, std::size_t length,
         std::size_t growth) {
    int status = Z_OK;
    do {
        if (status == Z_BUF_ERROR || stream.total_out == length) {
            length += growth;
        }
        if (out.size() < length) {
            try {
                out.resize(length);
            } catch (const std::bad_alloc&) {
                return Z_MEM_ERROR;
            }
        }
        stream.next_out = out.data() + stream.total_out;
        stream.avail_out = static_cast<uInt>(std::min<std::size_t>(length - stream.total_out, UINT_MAX));
        status = step(&stream, Z_FINISH);
        // Room left over after Z_BUF_ERROR means the input ran out before the stream ended (a truncated
        // gzip body): no amount of output space lets it go further, so stop instead of growing forever.
    } while (status == Z_OK || (status == Z_BUF_ERROR && stream.avail_out == 0));
    return status;
}

void setInput(z_stream& stream, const bdx::Data& data) {
    // zlib does not write through next_in; its pointer is not const only for old compilers.
    stream.next_in = const_cast<Bytef*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
}

}  // namespace

std::optional<bdx::Data> bdx_dataByGZipCompressingWithError(const bdx::Data& data, bdx::Error* error) {
    return bdx_dataByGZipCompressingAtLevel(data, Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, error);
}

std::optional<bdx::Data> bdx_dataByGZipCompressingAtLevel(const bdx::Data& data, int level, int windowSize,
                                                          int memoryLevel, int strategy, bdx::Error* error) {
    if (data.empty()) {
        return data;
    }
    if (data.size() > UINT_MAX) {
        return fail(error, Z_BUF_ERROR, "Error deflating payload");
    }
    z_stream stream{};
    int status = deflateInit2_(&stream, level, Z_DEFLATED, windowSize, memoryLevel, strategy, kZlibVersion,
                               static_cast<int>(sizeof(z_stream)));
    if (status != Z_OK) {
        return fail(error, status, "Failed deflateInit");
    }
    setInput(stream, data);
    bdx::Data out;
    status = pump(stream, deflate, out, kDeflateChunk, kDeflateChunk);
    deflateEnd(&stream);
    if (!isSuccess(status)) {
        return fail(error, status, "Error deflating payload");
    }
    out.resize(stream.total_out);
    return out;
}

std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithError(const bdx::Data& data, bdx::Error* error) {
    return bdx_dataByGZipDecompressingDataWithWindowSize(data, 31, error);
}

std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithWindowSize(const bdx::Data& data, int windowSize,
                                                                       bdx::Error* error) {
    if (data.empty()) {
        return data;
    }
    if (data.size() > UINT_MAX) {
        return fail(error, Z_BUF_ERROR, "Error inflating payload");
    }
    z_stream stream{};
    int status = inflateInit2_(&stream, windowSize, kZlibVersion, static_cast<int>(sizeof(z_stream)));
    if (status != Z_OK) {
        return fail(error, status, "Failed inflateInit");
    }
    setInput(stream, data);
    const std::size_t initial = data.size() + data.size() / 2;
    // A one-byte input would make the step zero; it can never be a whole stream, so any step will do.
    const std::size_t growth = std::max<std::size_t>(initial / 2, 1);
    bdx::Data out;
    status = pump(stream, inflate, out, initial, growth);
    inflateEnd(&stream);
    if (!isSuccess(status)) {
        return fail(error, status, "Error inflating payload");
    }
    out.resize(stream.total_out);
    return out;
}
