#pragma once

#include "register/Storage.h"
#include "tests/Support.h"

#include <utility>

namespace testing_support {

template <class Value>
using StoredForm = typename utils::properties::Storage<Value>::Stored;

/// Checks that each value is stored in the form beside it, and that this form is read as the value.
template <class Value>
void expectForms(const std::vector<std::pair<Value, StoredForm<Value>>> &forms) {
    using namespace utils::properties;
    _Register &reg = startedRegister();
    for (const auto &[value, form] : forms) {
        writeStored(reg, nullptr, "p", value, UserScope);
        StoredForm<Value> stored{};
        reg.findValue("p", stored);
        EXPECT_EQ(stored, form);
        const auto found = findStored<Value>(reg, "p");
        EXPECT_TRUE(found && found->value == value) << testing::PrintToString(form);
    }
}

/// Checks that stored values do not count as values of the type.
template <class Value>
void expectMissing(const std::vector<StoredForm<Value>> &forms) {
    using namespace utils::properties;
    _Register &reg = startedRegister();
    for (const auto &form : forms) {
        writeStored(reg, nullptr, "p", form, UserScope);
        EXPECT_FALSE(findStored<Value>(reg, "p")) << testing::PrintToString(form);
    }
}

/// Returns the reason why a value cannot be stored.
template <class Value>
std::string refusalOf(const Value &value) {
    return thrownBy([&] { utils::properties::Storage<Value>::store(value); });
}

} // namespace testing_support
