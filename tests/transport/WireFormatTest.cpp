#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "PipelineTestSupport.h"
#include "archives/BDXGZIP.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/gfx/Image.h"
#include "platform/gfx/ImageCodecs.h"

namespace bdx::testing {
namespace {

constexpr const char* kBoundary = "---------------------------14737809831466499882746641449";

// A header of a stored request, looked up in any case; "" when absent.
std::string header(const bdx::Value& record, std::string name) {
    auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        return text;
    };
    for (const auto& [key, value] : record["headers"].items()) {
        if (lower(key) == lower(name)) {
            return value.is_string() ? value.get<std::string>() : value.dump();
        }
    }
    return "";
}

std::string gunzipFile(const std::string& path) {
    const std::string packed = bdx::testing::readFile(path);
    auto plain = bdx_dataByGZipDecompressingDataWithError(bdx::Data(packed.begin(), packed.end()));
    return plain ? std::string(plain->begin(), plain->end()) : std::string("<not gzip>");
}

class WireFormatTest : public PipelineTest {
  protected:
    // Pushes `probe` and waits for its first result.
    void send(const std::shared_ptr<ProbeRequest>& probe) {
        manager()->pushRequest(probe);
        ASSERT_TRUE(waitForResults(probe, 1));
        ASSERT_EQ(probe->results[0].statusCode, 200) << probe->results[0].response.dump();
    }

    std::string writeFile(const std::string& name, const bdx::Data& bytes) {
        const auto path = sandboxRoot() / name;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path.string();
    }
};

TEST_F(WireFormatTest, BodiesOfPostAndPutAreCompactUTF8JSONCompressedFromAFileWithOurTwoHeaders) {
    const bdx::Value payload = {
        {"title", "Grüße ✓ \"quoted\""}, {"count", 3}, {"nested", {{"list", {1, 2}}}}};
    // Custom headers travel, but cannot take the two of ours.
    const bdx::Value headers = {
        {"X-Probe", "yes"}, {"Content-Type", "text/plain"}, {"content-encoding", "identity"}};
    for (const auto method : {BDXHTTPMethodPOST, BDXHTTPMethodPUT}) {
        SCOPED_TRACE(method);
        collector->reset(true);
        auto probe = ProbeRequest::json(url("/migrate_uuid"), method, payload, headers);
        send(probe);

        const bdx::Value record = received()[0];
        EXPECT_EQ(record["method"], method == BDXHTTPMethodPOST ? "POST" : "PUT");
        EXPECT_EQ(record["path"], "/api/sdk/v3/migrate_uuid");
        EXPECT_EQ(header(record, "Content-Type"), "application/json");
        EXPECT_EQ(header(record, "Content-Encoding"), "gzip");
        EXPECT_EQ(header(record, "X-Probe"), "yes");
        EXPECT_EQ(record["body_kind"], "json");
        EXPECT_EQ(storedBody(1), R"({"title":"Grüße ✓ \"quoted\"","count":3,"nested":{"list":[1,2]}})");

        // The body went to the network from a file of the temporary directory: the same stream.
        auto lowLevel = std::dynamic_pointer_cast<BDXServerDataRequest>(probe->lowLevel);
        ASSERT_NE(lowLevel, nullptr);
        EXPECT_EQ(lowLevel->filePath().rfind(BDXDiskPersistenceManager::getInstance()->tempDirectory(), 0),
                  0u);
        EXPECT_EQ(gunzipFile(lowLevel->filePath()), storedBody(1));
    }
}

TEST_F(WireFormatTest, GetAndDeleteCarryTheEscapedQueryAndNoBody) {
    const bdx::Value payload = {
        {"q", "a b&c=d/e?f#g[h]!*'();:@+$,%\""}, {"plain", "AZaz09-._~"}, {"filter:name", "ü"}};
    for (const auto method : {BDXHTTPMethodGET, BDXHTTPMethodDELETE}) {
        SCOPED_TRACE(method);
        collector->reset(true);
        auto probe = ProbeRequest::json(url("/features"), method, payload);
        send(probe);

        const bdx::Value record = received()[0];
        EXPECT_EQ(record["method"], method == BDXHTTPMethodGET ? "GET" : "DELETE");
        EXPECT_EQ(record["raw_query"],
                  "q=a%20b%26c%3Dd%2Fe%3Ff%23g%5Bh%5D%21%2A%27%28%29%3B%3A%40%2B%24%2C%25%22"
                  "&plain=AZaz09-._~&filter:name=%C3%BC");
        EXPECT_EQ(record["query"], payload);
        EXPECT_EQ(record["body_kind"], "empty");
        EXPECT_EQ(header(record, "Content-Type"), "application/json") << "set on a GET too";
        EXPECT_EQ(header(record, "Content-Encoding"), "gzip");
        auto lowLevel = std::dynamic_pointer_cast<BDXServerDataRequest>(probe->lowLevel);
        EXPECT_EQ(lowLevel->filePath(), "") << "no body, no file";
    }
}

TEST_F(WireFormatTest, AFileArrivesAsTheMultipartLayoutCompressedAsAWhole) {
    const std::string content = "line one\nline two\n";
    const std::string path = writeFile("notes.log", bdx::Data(content.begin(), content.end()));
    const bdx::Value info = {{"metadata[file_type]", "log"}, {"metadata[size]", 18}};
    auto probe = ProbeRequest::file(url("/attachments"), path, info);
    send(probe);

    const std::string boundary = kBoundary;
    const std::string expected =
        "\r\n--" + boundary + "\r\n" +
        "Content-Disposition: form-data; name=\"metadata[file_type]\"\r\n\r\nlog" + "\r\n--" + boundary +
        "\r\n" + "Content-Disposition: form-data; name=\"metadata[size]\"\r\n\r\n18" + "\r\n--" + boundary +
        "\r\n" + "Content-Disposition: form-data; name=\"file\"; filename=\"notes.log\"\r\n" +
        "Content-Type: text/plain\r\n\r\n" + content + "\r\n--" + boundary + "--\r\n";
    EXPECT_EQ(storedBody(1), expected);

    const bdx::Value record = received()[0];
    EXPECT_EQ(record["method"], "POST");
    EXPECT_EQ(header(record, "Content-Type"), "multipart/form-data; boundary=" + boundary);
    EXPECT_EQ(header(record, "Content-Encoding"), "gzip");
    EXPECT_EQ(record["body_kind"], "multipart");
    ASSERT_EQ(record["parts"].size(), 3u) << "two fields, then the file";
    EXPECT_EQ(record["parts"][0]["value"], "log");
    EXPECT_EQ(record["parts"][1]["value"], "18");
    EXPECT_EQ(record["parts"][2]["name"], "file");
    EXPECT_EQ(record["parts"][2]["filename"], "notes.log");

    // One gzip stream over the whole body, stored in place of the uploaded file.
    auto lowLevel = std::dynamic_pointer_cast<BDXServerFileRequest>(probe->lowLevel);
    ASSERT_NE(lowLevel, nullptr);
    EXPECT_NE(lowLevel->filePath(), path);
    EXPECT_EQ(gunzipFile(lowLevel->filePath()), expected);
}

TEST_F(WireFormatTest, AnImageFileIsSentReEncodedAsJPEG) {
    std::vector<std::uint32_t> pixels(16 * 8);
    for (std::size_t index = 0; index < pixels.size(); ++index) {
        pixels[index] = index % 2 ? 0xFF2040C0u : 0xFFE0E020u;
    }
    const auto image = gfx::Image::withPixels(16, 8, pixels);
    const std::string path = writeFile("shot.png", gfx::pngData(image));
    send(ProbeRequest::file(url("/attachments"), path, bdx::Value::object()));

    const bdx::Value part = received()[0]["parts"][0];
    EXPECT_EQ(part["filename"], "shot.png");
    EXPECT_EQ(part["content_type"], "application/octet-stream") << "the type follows the name, not the bytes";
    const std::string sent = bdx::testing::readFile(part["file"].get<std::string>());
    ASSERT_GE(sent.size(), 3u);
    EXPECT_EQ(sent.substr(0, 3), "\xFF\xD8\xFF") << "JPEG, not the PNG on disk";
    const auto decoded = gfx::imageWithData(bdx::Data(sent.begin(), sent.end()));
    EXPECT_EQ(decoded.width(), 16);
    EXPECT_EQ(decoded.height(), 8);
}

TEST(MimeTypeTest, FollowsTheExtension) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {"/a/console.log", "text/plain"},
        {"/a/notes.txt", "text/plain"},
        {"/a/shot.jpg", "image/jpeg"},
        {"/a/shot.jpeg", "image/jpeg"},
        {"/a/shot.png", "application/octet-stream"},
        {"/a/movie.mp4", "application/octet-stream"},
        {"/a/archive.zip", "application/octet-stream"},
        {"/a/no-extension", "application/octet-stream"},
        {"/a/log", "application/octet-stream"},
    };
    for (const auto& [path, type] : table) {
        EXPECT_EQ(BDXServerFileRequest::mimeTypeFromFile(path), type) << path;
    }
}

}  // namespace
}  // namespace bdx::testing
