#pragma once

#include <optional>
#include <string>

#include "foundation/Data.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

// One visual user step of the object store (entity "UserStep"): a parent screen step or an event under it.
class BDXUserStep : public bdx::store::ManagedObject {
  public:
    static std::string entityName();
    static bdx::store::FetchRequest fetchRequest();
    // The steps of one session (their `identifier`).
    static bdx::store::FetchRequest userStepslogFetchRequestWithID(const std::string& identifier);
    // The steps attached to one report.
    static bdx::store::FetchRequest userStepslogFetchRequestWithReportId(const std::string& reportId);

    std::optional<std::string> eventType() const { return stringForKey("eventType"); }
    void setEventType(std::optional<std::string> v) { setString("eventType", std::move(v)); }
    std::optional<std::string> identifier() const { return stringForKey("identifier"); }
    void setIdentifier(std::optional<std::string> v) { setString("identifier", std::move(v)); }
    bool isAttached() const { return boolForKey("isAttached").value_or(false); }
    void setIsAttached(bool v) { setBool("isAttached", v); }
    bool isParent() const { return boolForKey("isParent").value_or(false); }
    void setIsParent(bool v) { setBool("isParent", v); }
    std::optional<std::string> parentScreenIdentifier() const {
        return stringForKey("parentScreenIdentifier");
    }
    void setParentScreenIdentifier(std::optional<std::string> v) {
        setString("parentScreenIdentifier", std::move(v));
    }
    std::optional<std::string> reportId() const { return stringForKey("reportId"); }
    void setReportId(std::optional<std::string> v) { setString("reportId", std::move(v)); }
    std::optional<std::string> screenIdentifier() const { return stringForKey("screenIdentifier"); }
    void setScreenIdentifier(std::optional<std::string> v) { setString("screenIdentifier", std::move(v)); }
    std::optional<std::string> screenName() const { return stringForKey("screenName"); }
    void setScreenName(std::optional<std::string> v) { setString("screenName", std::move(v)); }
    // Absent for a step without a screenshot.
    std::optional<bdx::Data> screenshot() const { return dataForKey("screenshot"); }
    void setScreenshot(std::optional<bdx::Data> v) { setData("screenshot", std::move(v)); }
    std::optional<std::string> screenshotIdentifier() const { return stringForKey("screenshotIdentifier"); }
    void setScreenshotIdentifier(std::optional<std::string> v) {
        setString("screenshotIdentifier", std::move(v));
    }
    double timeEpoch() const { return doubleForKey("timeEpoch").value_or(0); }
    void setTimeEpoch(double v) { setDouble("timeEpoch", v); }
    std::optional<std::string> view() const { return stringForKey("view"); }
    void setView(std::optional<std::string> v) { setString("view", std::move(v)); }
    std::optional<std::string> orientation() const { return stringForKey("orientation"); }
    void setOrientation(std::optional<std::string> v) { setString("orientation", std::move(v)); }
};
