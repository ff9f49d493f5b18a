#pragma once

#include <memory>
#include <optional>
#include <string>

#include "reports/BDXSnapshotProtcol.h"

// The free text the host tells about its user, and an extra text that goes with the next report only.
// Used from the caller's thread, without a guard of its own.
class BDXUserDataLogger : public BDXSnapshotProtcol {
  public:
    static constexpr std::size_t kMaximumUserDataLength = 1000;

    static std::shared_ptr<BDXUserDataLogger> sharedInstance();
    static void destroy();

    // Nothing is ignored; a text longer than 1000 characters keeps its first 1000.
    void setUserData(const std::optional<std::string>& data);
    std::string getUserData() const { return data_; }
    void setExtraUserData(const std::string& extraUserData) { extraUserData_ = extraUserData; }

    // Whatever the flag, calls the handler at once with one text: the user data followed by the extra
    // text, which is then forgotten, so a second snapshot does not carry it again.
    void loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) override;
    // Empties the user data and keeps the extra text.
    void purgeOldLogs() override;
    void clearAllLogs() override;
    void clearOldLogs() override {}

  private:
    std::string data_;
    std::string extraUserData_;
};
