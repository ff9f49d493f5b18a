#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Value.h"
#include "platform/gfx/Image.h"

namespace bdx {
class DateFormatter;
}

// Where the library's files live and what they are called. Every location hangs from the sandbox's
// Library directory:
//   Library/BDXTemp/            request bodies and text attachments; emptied at each start
//   Library/BDXCache/           screenshots, recordings, duplicated files, log text, cache files
//   Library/BDXLog/             "BDXUserAttribute.txt"
//   BDXTemp/BDXViewHierarchyTemp/        the view hierarchy's images and document before zipping
//   BDXCache/BDXAutoScreenRecordingTemp/ one folder of frames per automatic recording
//   Library/BrindlexDataModel.sqlite     the object store
// Directory paths end in "/", so a file's path is the directory followed by its name. Reads and writes
// of bytes go through BDXDiskIOManager.
class BDXDiskPersistenceManager {
  public:
    // The first call empties the temporary directory (what a previous run left there) and makes the
    // temporary and cache directories.
    static std::shared_ptr<BDXDiskPersistenceManager> getInstance();
    static void destroy();

    // The two directories as they were made at start. Once cleared, they point at nothing (and writes
    // into them fail) until getCacheDirectory / getTempDirectory makes them again.
    const std::string& cacheDirectory() const { return cacheDirectory_; }
    const std::string& tempDirectory() const { return tempDirectory_; }
    // The folder of the recording under way, made when first asked after newVideoIdentifier.
    std::string screenshotsRecordingDirectory();

    // Locations; each one that is a directory is made when missing.
    std::string libraryDirectory() const;
    std::string getTempDirectory();
    std::string getCacheDirectory();
    std::string getUserLogDirectory();
    std::string getViewHierarchyTempDirectory();
    std::string getAutoScreenRecordingDirectory();
    std::string getCoreDataFilePath() const;
    // The Library path followed by `name`, made as a directory when missing.
    std::string getDirectoryWithName(const std::string& name);
    void createCacheDirectoryAtPath(const std::string& path);

    // Names: the time as "yyyyMMddhhmmssSSS" (twelve-hour clock) followed by a number from 1 to 99,999.
    std::string randomName();
    std::string randomNameWithExtension(const std::string& extension);
    // ".ext", or nothing for an empty extension.
    std::string getDotExtension(const std::string& extension) const;
    std::string getRandomAudioFileName();
    std::string getRandomVideoFileName();
    std::string getRandomZipFileName();

    // A queued write of the bytes to a new name in the temporary directory; the full path comes back at
    // once, the completion (on the disk queue) says whether the write succeeded.
    std::string persistDataInTempDirectory(const bdx::Data& data, std::function<void(bool)> withCompletion);
    // Writes the bytes to a new ".txt" in the temporary directory before returning its full path.
    std::string persistDataAsTextInTempDirectory(const bdx::Data& data);
    // A queued write of the text (UTF-8) to a new ".txt" in the cache directory; the file name comes back.
    std::string persistString(const std::string& string);
    // A queued write of the image as JPEG at the given quality (0..1) to a new ".jpg" in the cache
    // directory; the file name comes back. An image of scale 2 or more is first redrawn at half its size
    // in points, at the main screen's scale. Nothing comes back (and nothing is written) for a null image,
    // or when a file of the bare new name exists in the working directory.
    std::optional<std::string> persistImage(const bdx::gfx::Image& image, double withJPEGCompression);
    // As persistImage, at quality 1 and without reduction, into the current recording folder.
    std::optional<std::string> persistImageForAutoScreenRecording(const bdx::gfx::Image& image);
    // Copies the file into the cache directory under its own name, or the first free of "name-1.ext",
    // "name-2.ext"...; the name used, or nothing when the copy fails.
    std::optional<std::string> persistDuplicateOfFileAtPath(const std::string& path);
    // Moves the file (a path, or a file URL with its escapes) into the cache directory under its own name;
    // the new full path, or the old path when the file is missing or cannot be moved there (the text as
    // given, logged, when it is no local file URL).
    std::string moveFileToCacheWithURL(const std::string& url);

    // Removes a file or a directory with all it holds; an empty path or a missing file is no error.
    void removeFileAtPath(const std::string& path);
    // Removes the directory itself, not just what it holds.
    void clearDirectoryAtPath(const std::string& path);
    void clearTempDirectory();
    void clearViewHierarchyTempDirectory();
    // The reset of an upgrade or a downgrade: the temporary, cache and user log directories, the object
    // store file (its companion files stay), and every preferences key whose name contains "BDX".
    void clearAllCache();
    // Removes the folder of that recording, even the one under way: keeping the folder in use is up to the
    // caller.
    void clearAutoScreenRecordingAtIdentifier(const std::string& identifier);
    // Names of the recording folders.
    std::vector<std::string> getAutoScreenRecordingContainingDirectories();
    // The name of the current recording folder (making it when there is none).
    std::string screenshotsRecordingIdentifier();
    // Starts a new recording folder and gives its name.
    std::string newVideoIdentifier();

    // Whether the cache directory holds anything.
    bool hasCachedData() const;
    // Archives the attributes into "BDXUserAttribute.txt" of the user log directory (queued write).
    void persistUserAttributes(const bdx::Value& userAttributes);
    // The attributes last persisted, or nothing when the file is missing or unreadable.
    std::optional<bdx::Value> userAttributes();
    // The size of the file in bytes, or -1 when it cannot be read (missing, or not a file).
    long fileSizeAtLocation(const std::string& path) const;
    bdx::Data getImageRepresentation(const bdx::gfx::Image& image, double withCompression) const;

    ~BDXDiskPersistenceManager();
    BDXDiskPersistenceManager(const BDXDiskPersistenceManager&) = delete;
    BDXDiskPersistenceManager& operator=(const BDXDiskPersistenceManager&) = delete;

  private:
    BDXDiskPersistenceManager();
    bdx::DateFormatter& getdateFormatter();

    std::mutex mutex_;
    std::string cacheDirectory_;
    std::string tempDirectory_;
    std::string screenshotsRecordingDirectory_;
    std::unique_ptr<bdx::DateFormatter> dateFormatter_;
};
