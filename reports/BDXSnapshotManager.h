#pragma once

#include <memory>

// Gathers the moment of a report and owns the loggers that feed it.
class BDXSnapshotManager {
  public:
    static std::shared_ptr<BDXSnapshotManager> sharedInstance();

    void resetUserData();
};
