#include "transport/BDXUUIDMigrationRequest.h"

#include <nlohmann/json.hpp>

#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "persistence/BDXUUIDMigration.h"
#include "transport/BDXServerDataRequest.h"

BDXUUIDMigrationRequest::BDXUUIDMigrationRequest(std::shared_ptr<BDXUUIDMigration> migration,
                                                 std::weak_ptr<BDXUUIDMigrationRequestDelegate> delegate)
    : migration_(std::move(migration)), delegate_(std::move(delegate)) {}

void BDXUUIDMigrationRequest::executeNow() {
    if (!migration_ || migration_->oldUUID().empty()) {
        return;
    }
    bdx::Value payload = bdx::Value::object();
    payload["application_token"] = BDXDataStore::getInstance()->appToken();
    payload["old_uuid"] = migration_->oldUUID();
    payload["new_uuid"] = migration_->theNewUUID();
    setIsExecuting(true);
    auto request = BDXServerDataRequest::executeWithURL(
        BDXDefaults::getInstance()->baseURL() + "/migrate_uuid", BDXHTTPMethodPUT, payload, weak_from_this());
    std::lock_guard<std::mutex> guard(mutex_);
    dataRequest_ = std::move(request);
}

void BDXUUIDMigrationRequest::serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&,
                                                  std::int64_t statusCode,
                                                  const std::optional<bdx::Error>& error,
                                                  const bdx::Value& response) {
    judgeResult(statusCode, error, response);
    if (auto delegate = delegate_.lock()) {
        delegate->UUIDMigraionRequestDone(shared_from_this(), isSuccess());
    }
}

std::shared_ptr<BDXServerDataRequest> BDXUUIDMigrationRequest::dataRequest() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return dataRequest_;
}
