#pragma once

#include "register/Property.h"
#include "tests/Support.h"

/// All operations of the register, for tests that apply to each of them.
namespace testing_support {

struct Operation {
    std::string label;
    std::function<void(_Register &, const std::string &name, RegisterScope)> run;
};

/// Wraps a read. Checks that the variable is unchanged when the read fails.
template <class Value, class Read>
auto keeping(const Value &kept, Read read) {
    return [=](_Register &reg, const std::string &name, RegisterScope scope) {
        Value value = kept;
        try {
            read(reg, name, value, scope);
        } catch (...) {
            EXPECT_TRUE(value == kept) << name;
            throw;
        }
    };
}

struct Operations {
    std::vector<Operation> reads, writes, finds; ///< of the eight types, strings first
    std::vector<Operation> ofScope;              ///< the other operations with a scope
    std::vector<Operation> ofAll;                ///< the other operations without a scope

    Operations() {
        addType<std::string>("String", std::string(100, 'x'), &_Register::_readString);
        addType("Number", 1.5, &_Register::_readNumber);
        addType("Integer", 15, &_Register::_readInteger);
        addType("Boolean", true, &_Register::_readBoolean);
        addType<std::vector<std::string>>("Strings", {std::string(200, 'x'), ""},
                                          &_Register::_readStrings);
        addType<std::vector<double>>("Numbers", {1.5, 2}, &_Register::_readNumbers);
        addType<std::vector<int>>("Integers", std::vector<int>(50, 1), &_Register::_readIntegers);
        addType<std::vector<bool>>("Booleans", {true, false}, &_Register::_readBooleans);
        ofScope = {
            {"addGroup", [](auto &reg, auto &name, auto scope) { reg.addGroup(name, scope); }},
            {"addProperty",
             [](auto &reg, auto &name, auto scope) { reg.addProperty(name, scope); }},
            {"groupExists",
             [](auto &reg, auto &name, auto scope) { reg.groupExists(name, scope); }},
            {"propertyExists",
             [](auto &reg, auto &name, auto scope) { reg.propertyExists(name, scope); }},
            {"propertyList", [](auto &reg, auto &, auto scope) { reg.propertyList("", scope); }},
            {"openProperty",
             [](auto &reg, auto &name, auto scope) {
                 reg.closeProperty(reg.openProperty(name, _Register::ReadMode, scope));
             }},
            {"resetProperty",
             [](auto &reg, auto &name, auto scope) { reg.resetProperty(nullptr, name, scope); }},
            {"readAny", [](auto &reg, auto &name, auto scope) { reg.readAny(name, scope); }},
            {"removeGroup",
             [](auto &reg, auto &name, auto scope) { reg.removeGroup(nullptr, name, scope); }},
            {"delProperty",
             [](auto &reg, auto &name, auto scope) { reg.delProperty(name, scope); }},
        };
        ofAll = {
            {"getInstance", [](auto &, auto &, auto) { _Register::getInstance(); }},
            {"groupExists", [](auto &reg, auto &name, auto) { reg.groupExists(name); }},
            {"propertyExists", [](auto &reg, auto &name, auto) { reg.propertyExists(name); }},
            {"readPropertyType",
             [](auto &reg, auto &name, auto) { reg.readPropertyType(name, nullptr); }},
            {"addCallback", [](auto &reg, auto &name, auto) { reg.addCallback(name, nullptr); }},
            {"addCallbackForAll", [](auto &reg, auto &, auto) { reg.addCallbackForAll(nullptr); }},
            {"removeCallback", [](auto &reg, auto &, auto) { reg.removeCallback(nullptr); }},
            {"markAsChanged", [](auto &reg, auto &name, auto) { reg.markAsChanged(&reg, name); }},
            {"changeInOneStep", [](auto &reg, auto &, auto) { reg.changeInOneStep(&reg, [] {}); }},
            {"notify", [](auto &reg, auto &, auto) { reg.notify(&reg); }},
            {"setSaveErrorHandler",
             [](auto &, auto &, auto) { _Register::setSaveErrorHandler(nullptr); }},
            {"setSaveMode",
             [](auto &, auto &, auto) { _Register::setSaveMode(utils::properties::ReplaceFile); }},
            {"save", [](auto &reg, auto &, auto) { reg.save(); }},
            {"sync", [](auto &reg, auto &, auto) { reg.sync(nullptr); }},
            {"RegisterLock", [](auto &, auto &, auto) { utils::properties::RegisterLock(); }},
        };
    }

    std::vector<Operation> all() const {
        std::vector<Operation> joined;
        for (const auto *part : {&reads, &writes, &finds, &ofScope, &ofAll})
            joined.insert(joined.end(), part->begin(), part->end());
        return joined;
    }

private:
    template <class Value>
    void addType(const std::string &type, const Value &kept,
                 void (_Register::*readValue)(const std::string &, Value &) const) {
        reads.push_back(
            {"_read" + type, keeping(kept, [=](auto &reg, auto &name, auto &value, auto) {
                 (reg.*readValue)(name, value);
             })});
        finds.push_back(
            {"findValue " + type, keeping(kept, [](auto &reg, auto &name, auto &value, auto scope) {
                 reg.findValue(name, value, scope);
             })});
        writes.push_back({"_write" + type, [=](auto &reg, auto &name, auto scope) {
                              utils::properties::writeStored(reg, nullptr, name, kept, scope);
                          }});
    }
};

} // namespace testing_support
