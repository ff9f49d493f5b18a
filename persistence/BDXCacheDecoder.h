#pragma once

#include <memory>
#include <vector>

#include "foundation/Value.h"

class BDXCachable;

// The two directions between models and the stored form of a list of them: an array of single-entry
// dictionaries from class name to record. Models that hold lists of other models in their own records
// use it too.
class BDXCacheDecoder {
  public:
    using Models = std::vector<std::shared_ptr<BDXCachable>>;

    // Walks the array in order. An element that is not a dictionary ends the walk, and what was gathered
    // before it is the result; an element of a class that is unknown, cannot be made or refuses its record
    // is skipped. Anything but an array gives nothing.
    static Models getModelsFrom(const bdx::Value& array);
    // The stored form of the models, in list order.
    static bdx::Value getDicationaryFromModels(const Models& models);
};
