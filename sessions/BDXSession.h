#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Date.h"
#include "foundation/Value.h"
#include "persistence/BDXCachable.h"
#include "transport/BDXSessionRequest.h"

// The record of one session of use: its number, when it began, and the payload it is reported with. The
// payload is built once, when the record is saved at the end of the session or sent without having been
// saved, and then travels as it stands, so that a record sent at the next launch carries the duration of the
// moment it was saved. Two records are the same session when they began in the same second.
class BDXSession : public BDXCachable, public BDXSessionRequestDelegate {
    BDX_DECLARE_CLASS(BDXSession, bdx::Object)

  public:
    // An empty record, for the cache's reader to fill from a stored one.
    BDXSession();
    // initWithSessionNumber:. Begins now.
    explicit BDXSession(double sessionNumber);
    static std::shared_ptr<BDXSession> initWithSessionNumber(double sessionNumber);

    bdx::Date date() const;
    std::int64_t sessionNumber() const;
    double sessionStartTimestamp() const;
    bdx::Value userAttributes() const;
    bdx::Value eventLogs() const;
    // The payload as last built; nullptr before the first build.
    std::shared_ptr<const bdx::Value> requestParameters() const;

    // Whole seconds since the session began; 0 for a session numbered 0.
    std::int64_t sessionDurationTillNow() const;
    // The payload of /sessions as of now (and the event logs taken for it).
    bdx::Value requestParametersDict();

    bdx::Value dictionaryValue() const override;
    bool initWithDictionary(const bdx::Value& dictionary) override;
    // Builds and saves the payload first when the record has none, then reports it.
    void send() override;
    // Builds the payload afresh and stores the record in the sessions' cache.
    void save() override;
    void remove() override;
    bool isFullySent() const override { return false; }
    // The start, as "%f" seconds since 1970.
    std::string identifier() const override;
    bool isEqual(const BDXCachable& other) const override;
    std::string description() const override;

    // Done with the request in every case; a delivered record leaves the cache, a failed one stays there and
    // the pipeline tries it again.
    void sessionRequestDone(const std::shared_ptr<BDXSessionRequest>& request, bool isSuccess,
                            const bdx::Value& error) override;

    // What the payload takes from the user data of the host: the attributes the user set
    // ("custom_attributes") and the state logs of the user's events in this run ("user_events").
    static bdx::Value currentUserAttributes();
    static bdx::Value currentUserEventLogs();

  private:
    mutable std::mutex mutex_;
    bdx::Date date_;
    std::int64_t sessionNumber_ = 0;
    double sessionStartTimestamp_ = 0;
    std::shared_ptr<const bdx::Value> userAttributes_;
    std::shared_ptr<const bdx::Value> eventLogs_;
    std::shared_ptr<const bdx::Value> requestParameters_;
};
