#pragma once

#include <optional>

#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/Value.h"

namespace bdx {

// Dates and bytes inside JSON values, where the platform's property lists and archives hold them natively:
// a date is {"$date": seconds since 1970}, bytes are {"$data": "<Base64>"}. Every stored record of the
// library (preferences, caches, archives) uses this one form, so any of them can read what another wrote.
class TaggedValue {
  public:
    static Value fromDate(Date date);
    static Value fromData(const Data& bytes);

    static bool isDate(const Value& value);
    static bool isData(const Value& value);
    // The date or bytes held by a tagged value; nothing for any other value.
    static std::optional<Date> toDate(const Value& value);
    static std::optional<Data> toData(const Value& value);
};

}  // namespace bdx
