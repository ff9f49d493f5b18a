#include "platform/store/FetchRequest.h"

#include <algorithm>
#include <cstring>

#include "foundation/Date.h"

namespace bdx::store {

std::shared_ptr<Predicate> Predicate::compare(std::string key, Operator op, FieldValue value) {
    auto predicate = std::make_shared<Predicate>();
    predicate->op_ = op == Operator::And ? Operator::Equal : op;
    predicate->key_ = std::move(key);
    // Booleans are stored as integers, so they are compared as integers.
    if (auto* flag = std::get_if<bool>(&value))
        value = static_cast<std::int64_t>(*flag ? 1 : 0);
    predicate->value_ = std::move(value);
    return predicate;
}

std::shared_ptr<Predicate> Predicate::andPredicate(std::shared_ptr<Predicate> left,
                                                   std::shared_ptr<Predicate> right) {
    auto predicate = std::make_shared<Predicate>();
    predicate->op_ = Operator::And;
    predicate->left_ = std::move(left);
    predicate->right_ = std::move(right);
    return predicate;
}

FieldValue dateValue(const Date& date) {
    return date.timeIntervalSince1970();
}

namespace {

int typeRank(const FieldValue& v) {
    if (std::holds_alternative<std::monostate>(v))
        return 0;
    if (std::holds_alternative<std::string>(v))
        return 2;
    if (std::holds_alternative<Data>(v))
        return 3;
    return 1;
}

double numberOf(const FieldValue& v) {
    if (auto* i = std::get_if<std::int64_t>(&v))
        return static_cast<double>(*i);
    if (auto* d = std::get_if<double>(&v))
        return *d;
    if (auto* b = std::get_if<bool>(&v))
        return *b ? 1.0 : 0.0;
    return 0.0;
}

}  // namespace

int compareFields(const FieldValue& a, const FieldValue& b) {
    int ra = typeRank(a), rb = typeRank(b);
    if (ra != rb)
        return ra < rb ? -1 : 1;
    switch (ra) {
        case 0:
            return 0;
        case 1: {
            auto* ia = std::get_if<std::int64_t>(&a);
            auto* ib = std::get_if<std::int64_t>(&b);
            if (ia && ib)
                return *ia < *ib ? -1 : (*ia > *ib ? 1 : 0);
            double da = numberOf(a), db = numberOf(b);
            return da < db ? -1 : (da > db ? 1 : 0);
        }
        case 2: {
            int c = std::get<std::string>(a).compare(std::get<std::string>(b));
            return c < 0 ? -1 : (c > 0 ? 1 : 0);
        }
        default: {
            const auto& x = std::get<Data>(a);
            const auto& y = std::get<Data>(b);
            std::size_t n = std::min(x.size(), y.size());
            int c = n ? std::memcmp(x.data(), y.data(), n) : 0;
            if (c == 0)
                c = x.size() < y.size() ? -1 : (x.size() > y.size() ? 1 : 0);
            return c < 0 ? -1 : (c > 0 ? 1 : 0);
        }
    }
}

bool evaluatePredicate(const Predicate& predicate, const EntityDescription& entity,
                       const std::vector<FieldValue>& values) {
    using Op = Predicate::Operator;
    if (predicate.op() == Op::And)
        return predicate.left() && predicate.right() &&
               evaluatePredicate(*predicate.left(), entity, values) &&
               evaluatePredicate(*predicate.right(), entity, values);
    auto index = entity.indexOfProperty(predicate.key());
    if (!index || *index >= values.size())
        return false;
    const FieldValue& field = values[*index];
    int c = compareFields(field, predicate.value());
    switch (predicate.op()) {
        case Op::Equal:
            return c == 0;
        case Op::NotEqual:
            return c != 0;
        default:
            break;
    }
    if (std::holds_alternative<std::monostate>(field) ||
        std::holds_alternative<std::monostate>(predicate.value()))
        return false;
    switch (predicate.op()) {
        case Op::Less:
            return c < 0;
        case Op::LessOrEqual:
            return c <= 0;
        case Op::Greater:
            return c > 0;
        case Op::GreaterOrEqual:
            return c >= 0;
        default:
            return false;
    }
}

}  // namespace bdx::store
