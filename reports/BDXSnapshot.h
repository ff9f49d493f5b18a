#pragma once

#include "foundation/Value.h"

// The moment of a report as the service receives it. Only the wire parameters that need no capture
// exist so far; the captured fields come with the snapshot manager's capture.
class BDXSnapshot {
  public:
    // {"application_token": the token}: all the daily feature check sends.
    static bdx::Value getFeaturesParams();
};
