#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform/store/ManagedObjectModel.h"

namespace bdx {
class Date;
}

namespace bdx::store {

// A condition on the properties of one entity: comparisons of a property with a constant, joined by AND.
// The constant is bound as a parameter when the condition reaches SQLite, never spliced into the text.
class Predicate {
  public:
    enum class Operator { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual, And };

    static std::shared_ptr<Predicate> compare(std::string key, Operator op, FieldValue value);
    static std::shared_ptr<Predicate> andPredicate(std::shared_ptr<Predicate> left,
                                                   std::shared_ptr<Predicate> right);

    // Convenience for the common forms: "key == value" and "key != value" and "key <= value".
    static std::shared_ptr<Predicate> equal(std::string key, FieldValue value) {
        return compare(std::move(key), Operator::Equal, std::move(value));
    }
    static std::shared_ptr<Predicate> notEqual(std::string key, FieldValue value) {
        return compare(std::move(key), Operator::NotEqual, std::move(value));
    }
    static std::shared_ptr<Predicate> lessOrEqual(std::string key, FieldValue value) {
        return compare(std::move(key), Operator::LessOrEqual, std::move(value));
    }

    Operator op() const { return op_; }
    const std::string& key() const { return key_; }
    const FieldValue& value() const { return value_; }
    const std::shared_ptr<Predicate>& left() const { return left_; }
    const std::shared_ptr<Predicate>& right() const { return right_; }

  private:
    Operator op_ = Operator::Equal;
    std::string key_;
    FieldValue value_;
    std::shared_ptr<Predicate> left_, right_;
};

// A date as a predicate constant.
FieldValue dateValue(const Date& date);

struct SortDescriptor {
    std::string key;
    bool ascending = true;
};

struct FetchRequest {
    explicit FetchRequest(std::string entity) : entityName(std::move(entity)) {}

    std::string entityName;
    std::shared_ptr<Predicate> predicate;
    std::vector<SortDescriptor> sortDescriptors;
    std::size_t fetchLimit = 0;  // 0: no limit
    // When false the results are faults: their values are read on first access.
    bool includesPropertyValues = true;
};

// In-memory forms of the same rules SQLite applies, so that unsaved objects filter and sort as the file's
// rows do: absent values first, numbers before text before bytes, text by bytes; == and != treat an absent
// value as a value, the order comparisons never match it.
int compareFields(const FieldValue& a, const FieldValue& b);
bool evaluatePredicate(const Predicate& predicate, const EntityDescription& entity,
                       const std::vector<FieldValue>& values);

}  // namespace bdx::store
