#pragma once

#include <memory>
#include <string>

#include "foundation/Value.h"

// Builds a dictionary from values some of which may be absent: an absent value is skipped instead of
// ending up as a null entry, so what comes out can be sent or stored as it stands.
class BDXNullableMutableDictionary {
  public:
    BDXNullableMutableDictionary();
    // Starts from the entries of `dictionary`, leaving out the null ones. Anything but a dictionary
    // starts an empty one.
    explicit BDXNullableMutableDictionary(const bdx::Value& dictionary);
    BDXNullableMutableDictionary(const BDXNullableMutableDictionary& other);
    BDXNullableMutableDictionary& operator=(const BDXNullableMutableDictionary& other);
    ~BDXNullableMutableDictionary();

    // A null `object` changes nothing, also when the key is already present.
    void setObject(const bdx::Value& object, const std::string& forKey);
    // A copy; later changes to this builder do not reach it.
    bdx::Value getDictionary() const;

  private:
    std::unique_ptr<bdx::Value> dictionary_;
};
