#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Error.h"
#include "foundation/Value.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXServerRequestDelegate.h"

class BDXServerDataRequest;
class BDXUUIDMigration;
class BDXUUIDMigrationRequest;

class BDXUUIDMigrationRequestDelegate {
  public:
    virtual ~BDXUUIDMigrationRequestDelegate() = default;
    // On the main queue, once the result is judged; must end by calling handleRequest of BDXServerManager.
    virtual void UUIDMigraionRequestDone(const std::shared_ptr<BDXUUIDMigrationRequest>& request,
                                         bool isSuccess) = 0;
};

// Tells the service that a user's identifier changed: a PUT of /migrate_uuid with the application token,
// the old and the new identifier. A migration without an old identifier is never sent.
class BDXUUIDMigrationRequest : public BDXHighLevelRequest,
                                public BDXServerRequestDelegate,
                                public std::enable_shared_from_this<BDXUUIDMigrationRequest> {
    BDX_DECLARE_CLASS(BDXUUIDMigrationRequest, bdx::Object)

  public:
    // initWithUUIDMigration:delegate:. The request keeps the migration it carries.
    BDXUUIDMigrationRequest(std::shared_ptr<BDXUUIDMigration> migration,
                            std::weak_ptr<BDXUUIDMigrationRequestDelegate> delegate);

    void executeNow() override;
    // The common judgement: a status of exactly 200 without an error.
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>& request, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override;

    std::shared_ptr<BDXUUIDMigration> migration() const { return migration_; }
    std::shared_ptr<BDXServerDataRequest> dataRequest() const;

  private:
    const std::shared_ptr<BDXUUIDMigration> migration_;
    std::weak_ptr<BDXUUIDMigrationRequestDelegate> delegate_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXServerDataRequest> dataRequest_;
};
