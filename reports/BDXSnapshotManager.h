#pragma once

#include <memory>
#include <mutex>
#include <string>

class BDXNetworkLogger;
class BDXOperation;
class BDXSessionLogger;
class BDXSnapshot;

// Gathers the moment of a report and owns the loggers that feed it. What the host and the device say of
// themselves is read once, by the start-up operation, and copied into every snapshot.
class BDXSnapshotManager {
  public:
    static std::shared_ptr<BDXSnapshotManager> sharedInstance();

    // Makes the manager's own active-time stopwatch.
    BDXSnapshotManager();
    ~BDXSnapshotManager();

    // The start-up step: captureDeviceState on the operation's own thread, finished when it returns.
    std::shared_ptr<BDXOperation> initializationOperation();
    // Reads the host's and the device's strings once from the inspector.
    void captureDeviceState();

    // A snapshot of this moment. It carries the captured strings and the identifier in use; the screen,
    // the device state and the logs the arguments ask for join it as the capture subsystems arrive.
    std::shared_ptr<BDXSnapshot> takePreSendingSnapshotWithScreenShot(bool screenShot, bool synchronously,
                                                                      bool shouldFetchLogs,
                                                                      bool shouldFetchVisualUserSteps);

    std::shared_ptr<BDXSessionLogger> sessionLogger() const { return sessionLogger_; }
    // Loads and clears the network records of reports (each exchange is saved by a logger of its own).
    std::shared_ptr<BDXNetworkLogger> networkLogger() const { return networkLogger_; }

    void resetUserData();

  private:
    const std::shared_ptr<BDXSessionLogger> sessionLogger_;
    const std::shared_ptr<BDXNetworkLogger> networkLogger_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXSnapshot> deviceState_;
    std::shared_ptr<BDXOperation> initializationOperation_;
};
