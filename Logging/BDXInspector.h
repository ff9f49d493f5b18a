#pragma once

#include <optional>
#include <string>

// Plain questions about the host, the device and the process, answered from whatever stands in for them.
class BDXInspector {
  public:
    // Identifiers that go to the service.
    // The identifier in use: the saved one, or, when none is saved, one derived from the identity of
    // this moment (the identified email, else the device) and saved.
    static std::string getUUID();
    // The vendor identifier of the device.
    static std::string deviceUUID();
    // The device's identifier before users could be identified: the vendor identifier, a hyphen, and the
    // MD5 of the bundle identifier.
    static std::string oldUUID();
    // The MD5 of the email followed by the application token; callers give the email lower-cased.
    static std::string getUUIDFromEmail(const std::string& email);
    // Ties the logs of one run of the process together; made once per process and never stored.
    static std::string sessionUUID();

    // Whether a debugger traces the process.
    static bool isDebuggerAttached();
    static bool isDebuggerAttatchedToConsole();
    // Answers the debugger question instead of the system, until set back to nothing (tests, and hosts
    // that want the SDK's diagnostics without a debugger). Dropped by the singleton reset.
    static void overrideDebuggerAttached(std::optional<bool> attached);
};
