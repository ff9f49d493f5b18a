#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "persistence/BDXCachable.h"
#include "transport/BDXUUIDMigrationRequest.h"

// A persisted request to the service to move a user's data from an old identifier to a new one. It waits
// in its cache until the service confirms, across relaunches; only then do the new email and name take
// effect.
class BDXUUIDMigration : public BDXCachable, public BDXUUIDMigrationRequestDelegate {
    BDX_DECLARE_CLASS(BDXUUIDMigration, bdx::Object)

  public:
    // An empty migration, for the cache's reader to fill from a record.
    BDXUUIDMigration() = default;
    BDXUUIDMigration(std::string oldUUID, std::string newUUID, std::string newEmail, std::string newName);
    static std::shared_ptr<BDXUUIDMigration> initWithOldUUID(std::string oldUUID, std::string newUUID,
                                                             std::string newEmail, std::string newName);

    std::string oldUUID() const;
    std::string theNewUUID() const;
    std::string theNewIdentifiedEmail() const;
    std::string theNewName() const;
    bool isSent() const { return isSent_.load(); }

    // Saves, then sends.
    void persistAndSend();

    bdx::Value dictionaryValue() const override;
    bool initWithDictionary(const bdx::Value& dictionary) override;
    void send() override;
    void save() override;
    void remove() override;
    bool isFullySent() const override { return isSent(); }
    // The identifier the migration establishes.
    std::string identifier() const override { return theNewUUID(); }
    std::string description() const override;

    // The answer of the service: on success the migration leaves its cache and the new identity is applied;
    // in every case the request is done. On failure the migration stays and is sent again at the next start.
    void UUIDMigraionRequestDone(const std::shared_ptr<BDXUUIDMigrationRequest>& request,
                                 bool isSuccess) override;

  private:
    mutable std::mutex mutex_;
    std::string oldUUID_;
    std::string theNewUUID_;
    std::string theNewIdentifiedEmail_;
    std::string theNewName_;
    std::atomic<bool> isSent_{false};
};
