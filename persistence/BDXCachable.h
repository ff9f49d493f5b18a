#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foundation/Object.h"
#include "foundation/Value.h"

// A model that must outlive the process: a cache keeps it in a list and mirrors the list to a file, where
// it stands as its class name beside its record. At the next start the class is found by that name, a
// fresh instance is made by the class registry's factory and filled from the record, and it sends itself.
class BDXCachable : public bdx::Object, public std::enable_shared_from_this<BDXCachable> {
  public:
    // The record as a plain dictionary; dates and bytes go in as tagged values so they keep their type.
    virtual bdx::Value dictionaryValue() const = 0;
    // Fills this fresh instance from a stored record. False when the record cannot make a model: the
    // reader then skips it, as it skips a class it does not know.
    virtual bool initWithDictionary(const bdx::Value& dictionary) = 0;
    // Starts the upload; the model saves or removes itself as the answer comes.
    virtual void send() = 0;
    // Saves the model through the cache of its class, or removes it from there.
    virtual void save() = 0;
    virtual void remove() = 0;
    virtual bool isFullySent() const = 0;
    virtual std::string identifier() const = 0;

    // Identity in a cache's contains and remove: the same object, unless a model says otherwise.
    virtual bool isEqual(const BDXCachable& other) const { return this == &other; }

    // The key of a field in the record: the class name directly followed by the selector text, so that
    // the records of a subclass and its base never collide.
    std::string coderNameForSelector(std::string_view selector) const {
        return className() + std::string(selector);
    }
};
