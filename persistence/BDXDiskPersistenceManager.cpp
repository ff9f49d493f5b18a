#include "persistence/BDXDiskPersistenceManager.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/Date.h"
#include "foundation/DateFormatter.h"
#include "foundation/FileURL.h"
#include "foundation/Sandbox.h"
#include "foundation/Singleton.h"
#include "foundation/StringWithFormat.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXFileNameSuffix.h"
#include "platform/gfx/ImageCodecs.h"
#include "platform/gfx/ImageContext.h"

namespace fs = std::filesystem;

namespace {

bool exists(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::exists(fs::path(path), ec);
}

// The last component of a path, as the platform takes it: trailing slashes do not count.
std::string lastPathComponent(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bdx::Data bytesOf(const std::string& text) {
    return bdx::Data(text.begin(), text.end());
}

}  // namespace

std::shared_ptr<BDXDiskPersistenceManager> BDXDiskPersistenceManager::getInstance() {
    return bdx::Singleton<BDXDiskPersistenceManager>::holder().get(
        [] { return std::shared_ptr<BDXDiskPersistenceManager>(new BDXDiskPersistenceManager()); });
}

void BDXDiskPersistenceManager::destroy() {
    bdx::Singleton<BDXDiskPersistenceManager>::holder().destroy();
}

BDXDiskPersistenceManager::BDXDiskPersistenceManager() {
    // What a previous run left in the temporary directory goes now, and nothing else clears it at start.
    clearTempDirectory();
    cacheDirectory_ = getCacheDirectory();
    tempDirectory_ = getTempDirectory();
}

BDXDiskPersistenceManager::~BDXDiskPersistenceManager() = default;

bdx::DateFormatter& BDXDiskPersistenceManager::getdateFormatter() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!dateFormatter_) {
        dateFormatter_ = std::make_unique<bdx::DateFormatter>();
        dateFormatter_->setLocaleIdentifier("en_US");
        // "hh" is the hour of the twelve-hour clock: names of a morning and an afternoon may share their
        // date part, and only the number behind it tells them apart.
        dateFormatter_->setDateFormat("yyyyMMddhhmmssSSS");
    }
    return *dateFormatter_;
}

// Locations

std::string BDXDiskPersistenceManager::libraryDirectory() const {
    return bdx::Sandbox::current().library().string();
}

std::string BDXDiskPersistenceManager::getDirectoryWithName(const std::string& name) {
    const std::string path = libraryDirectory() + name;
    if (!exists(path)) {
        createCacheDirectoryAtPath(path);
    }
    return path;
}

void BDXDiskPersistenceManager::createCacheDirectoryAtPath(const std::string& path) {
    std::error_code ec;
    fs::create_directories(fs::path(path), ec);
}

std::string BDXDiskPersistenceManager::getTempDirectory() {
    return getDirectoryWithName("/BDXTemp/");
}

std::string BDXDiskPersistenceManager::getCacheDirectory() {
    return getDirectoryWithName("/BDXCache/");
}

std::string BDXDiskPersistenceManager::getUserLogDirectory() {
    return getDirectoryWithName("/BDXLog/");
}

std::string BDXDiskPersistenceManager::getViewHierarchyTempDirectory() {
    const std::string path = tempDirectory_ + "BDXViewHierarchyTemp/";
    if (!exists(path)) {
        createCacheDirectoryAtPath(path);
    }
    return path;
}

std::string BDXDiskPersistenceManager::getAutoScreenRecordingDirectory() {
    const std::string path = cacheDirectory_ + "BDXAutoScreenRecordingTemp/";
    if (!exists(path)) {
        createCacheDirectoryAtPath(path);
    }
    return path;
}

std::string BDXDiskPersistenceManager::screenshotsRecordingDirectory() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!screenshotsRecordingDirectory_.empty()) {
            return screenshotsRecordingDirectory_;
        }
    }
    const std::string path = getAutoScreenRecordingDirectory() + randomName() + "/";
    createCacheDirectoryAtPath(path);
    std::lock_guard<std::mutex> lock(mutex_);
    if (screenshotsRecordingDirectory_.empty()) {
        screenshotsRecordingDirectory_ = path;
    }
    return screenshotsRecordingDirectory_;
}

std::string BDXDiskPersistenceManager::getCoreDataFilePath() const {
    return libraryDirectory() + "/BrindlexDataModel.sqlite";
}

// Names

std::string BDXDiskPersistenceManager::randomName() {
    const std::string date = getdateFormatter().stringFromDate(bdx::Date::now());
    // The generator is the process's own and is left unseeded here, as the host may seed it.
    return date + std::to_string(std::rand() % 99999 + 1);
}

std::string BDXDiskPersistenceManager::randomNameWithExtension(const std::string& extension) {
    return randomName() + getDotExtension(extension);
}

std::string BDXDiskPersistenceManager::getDotExtension(const std::string& extension) const {
    return extension.empty() ? std::string() : bdx::stringWithFormat(".%@", extension);
}

std::string BDXDiskPersistenceManager::getRandomAudioFileName() {
    return randomNameWithExtension("m4a");
}

std::string BDXDiskPersistenceManager::getRandomVideoFileName() {
    return randomNameWithExtension("mp4");
}

std::string BDXDiskPersistenceManager::getRandomZipFileName() {
    return randomNameWithExtension("zip");
}

// Persistence

std::string BDXDiskPersistenceManager::persistDataInTempDirectory(const bdx::Data& data,
                                                                  std::function<void(bool)> withCompletion) {
    const std::string path = tempDirectory_ + randomName();
    BDXDiskIOManager::getInstance()->writeData(
        data, path, [completion = std::move(withCompletion)](bool success, const bdx::Error*) {
            if (completion) {
                completion(success);
            }
        });
    return path;
}

std::string BDXDiskPersistenceManager::persistDataAsTextInTempDirectory(const bdx::Data& data) {
    const std::string path = tempDirectory_ + randomNameWithExtension("txt");
    BDXDiskIOManager::getInstance()->forceWriteData(data, path);
    return path;
}

std::string BDXDiskPersistenceManager::persistString(const std::string& string) {
    const std::string name = randomNameWithExtension("txt");
    BDXDiskIOManager::getInstance()->writeData(bytesOf(string), cacheDirectory_ + name);
    return name;
}

std::optional<std::string> BDXDiskPersistenceManager::persistImage(const bdx::gfx::Image& image,
                                                                   double withJPEGCompression) {
    if (image.isNull()) {
        return std::nullopt;
    }
    const std::string name = randomNameWithExtension("jpg");
    // The bare name is a path relative to the working directory; a file there counts as taken.
    if (exists(name)) {
        return std::nullopt;
    }
    bdx::gfx::Image toEncode = image;
    if (image.scale() >= 2.0) {
        // Double density or more: half the size in points at the main screen's scale quarters the
        // pixels on the common device before encoding.
        const bdx::gfx::Size half(image.size().width / 2, image.size().height / 2);
        bdx::gfx::ImageContext context(half, false, 0);
        context.drawImage(image, bdx::gfx::Rect(bdx::gfx::Point(0, 0), half));
        toEncode = context.imageFromCurrentContext();
    }
    BDXDiskIOManager::getInstance()->writeData(getImageRepresentation(toEncode, withJPEGCompression),
                                               cacheDirectory_ + name);
    return name;
}

std::optional<std::string> BDXDiskPersistenceManager::persistImageForAutoScreenRecording(
    const bdx::gfx::Image& image) {
    if (image.isNull()) {
        return std::nullopt;
    }
    const std::string name = randomNameWithExtension("jpg");
    if (exists(name)) {
        return std::nullopt;
    }
    const std::string path = screenshotsRecordingDirectory() + name;
    BDXSDKLogVerbose(">>> filepath %@", path);
    BDXDiskIOManager::getInstance()->writeData(getImageRepresentation(image, 1.0), path);
    return name;
}

std::optional<std::string> BDXDiskPersistenceManager::persistDuplicateOfFileAtPath(const std::string& path) {
    if (path.empty()) {
        return std::nullopt;
    }
    const std::string fileName = lastPathComponent(path);
    std::string candidate = fileName;
    for (long number = 1; exists(cacheDirectory_ + candidate); ++number) {
        candidate = bdx_stringByAppendingFileNameSuffix(fileName, std::to_string(number));
    }
    std::error_code ec;
    if (!fs::is_regular_file(fs::path(path), ec) ||
        !fs::copy_file(fs::path(path), fs::path(cacheDirectory_ + candidate), ec)) {
        return std::nullopt;
    }
    return candidate;
}

std::string BDXDiskPersistenceManager::moveFileToCacheWithURL(const std::string& url) {
    const auto path = bdx::pathOfFileURL(url);
    if (!path) {
        return url;
    }
    const std::string& source = *path;
    if (!exists(source)) {
        return source;
    }
    const std::string destination = cacheDirectory_ + lastPathComponent(source);
    // As on the platform, a move never replaces a file that is already there.
    if (exists(destination)) {
        return source;
    }
    std::error_code ec;
    fs::rename(fs::path(source), fs::path(destination), ec);
    if (ec == std::errc::cross_device_link) {
        ec.clear();
        fs::copy(fs::path(source), fs::path(destination), fs::copy_options::recursive, ec);
        if (!ec) {
            fs::remove_all(fs::path(source), ec);
            ec.clear();
        }
    }
    return ec ? source : destination;
}

// The rest

void BDXDiskPersistenceManager::removeFileAtPath(const std::string& path) {
    if (!exists(path)) {
        return;
    }
    std::error_code ec;
    fs::remove_all(fs::path(path), ec);
}

void BDXDiskPersistenceManager::clearDirectoryAtPath(const std::string& path) {
    if (!exists(path)) {
        return;
    }
    std::error_code ec;
    fs::remove_all(fs::path(path), ec);
}

void BDXDiskPersistenceManager::clearTempDirectory() {
    // Called by init before the kept path is set, so the path is formed here.
    clearDirectoryAtPath(libraryDirectory() + "/BDXTemp/");
}

void BDXDiskPersistenceManager::clearViewHierarchyTempDirectory() {
    clearDirectoryAtPath(tempDirectory_ + "BDXViewHierarchyTemp/");
}

void BDXDiskPersistenceManager::clearAllCache() {
    clearDirectoryAtPath(tempDirectory_);
    clearDirectoryAtPath(cacheDirectory_);
    clearDirectoryAtPath(libraryDirectory() + "/BDXLog/");
    // The store's companion files (-wal, -shm) are left alone.
    removeFileAtPath(getCoreDataFilePath());

    auto defaults = bdx::UserDefaults::standardUserDefaults();
    const bdx::Value all = defaults->dictionaryRepresentation();
    bool removed = false;
    for (const auto& entry : all.items()) {
        // Any key holding the three letters goes, the host's own included.
        if (entry.key().find("BDX") != std::string::npos) {
            defaults->removeObjectForKey(entry.key());
            removed = true;
        }
    }
    if (removed) {
        defaults->synchronize();
    }
}

void BDXDiskPersistenceManager::clearAutoScreenRecordingAtIdentifier(const std::string& identifier) {
    // The folder in use is not spared: the caller alone keeps it from being cleared.
    const std::string path = getAutoScreenRecordingDirectory() + identifier;
    if (!exists(path)) {
        return;
    }
    std::error_code ec;
    fs::remove_all(fs::path(path), ec);
    BDXSDKLogVerbose("*** screenshots removed from path %@", path);
}

std::vector<std::string> BDXDiskPersistenceManager::getAutoScreenRecordingContainingDirectories() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(fs::path(getAutoScreenRecordingDirectory()), ec), end; !ec && it != end;
         it.increment(ec)) {
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string BDXDiskPersistenceManager::screenshotsRecordingIdentifier() {
    // The folder's path ends in "/", so its name is the last but one piece.
    const std::string folder = screenshotsRecordingDirectory();
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (std::size_t slash; (slash = folder.find('/', start)) != std::string::npos; start = slash + 1) {
        pieces.push_back(folder.substr(start, slash - start));
    }
    pieces.push_back(folder.substr(start));
    return pieces.size() >= 2 ? pieces[pieces.size() - 2] : std::string();
}

std::string BDXDiskPersistenceManager::newVideoIdentifier() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        screenshotsRecordingDirectory_.clear();
    }
    return screenshotsRecordingIdentifier();
}

bool BDXDiskPersistenceManager::hasCachedData() const {
    std::error_code ec;
    fs::directory_iterator it(fs::path(cacheDirectory_), ec);
    return !ec && it != fs::directory_iterator();
}

void BDXDiskPersistenceManager::persistUserAttributes(const bdx::Value& userAttributes) {
    const std::string path = getUserLogDirectory() + "BDXUserAttribute.txt";
    BDXDiskIOManager::getInstance()->writeData(
        bytesOf(userAttributes.dump(-1, ' ', false, bdx::Value::error_handler_t::replace)), path);
}

std::optional<bdx::Value> BDXDiskPersistenceManager::userAttributes() {
    const std::string path = getUserLogDirectory() + "BDXUserAttribute.txt";
    auto bytes = BDXDiskIOManager::getInstance()->readFileAtPath(path);
    if (!bytes) {
        return std::nullopt;
    }
    bdx::Value value = bdx::Value::parse(bytes->begin(), bytes->end(), nullptr, false);
    if (value.is_discarded()) {
        return std::nullopt;
    }
    return value;
}

long BDXDiskPersistenceManager::fileSizeAtLocation(const std::string& path) const {
    // The size of a file: a directory has none worth telling (its listing's size on disk), so it is an
    // error like a missing file.
    struct stat attributes {};
    if (path.empty() || ::stat(path.c_str(), &attributes) != 0 || !S_ISREG(attributes.st_mode)) {
        return -1;
    }
    return static_cast<long>(attributes.st_size);
}

bdx::Data BDXDiskPersistenceManager::getImageRepresentation(const bdx::gfx::Image& image,
                                                            double withCompression) const {
    return bdx::gfx::jpegData(image, withCompression);
}
