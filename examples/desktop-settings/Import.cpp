#include "Import.h"

#include <glib.h>

#include <algorithm>
#include <climits>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace utils::properties;

namespace {

struct VariantDeleter {
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantDeleter>;

Variant parseVariant(const std::string &text) {
    return Variant(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr));
}

bool isA(const Variant &value, const GVariantType *type) {
    return g_variant_is_of_type(value.get(), type);
}

/// Returns the elements of an array. `get` reads one element.
template <class Element, class Get>
std::vector<Element> elements(const Variant &array, Get get) {
    std::vector<Element> all;
    const gsize count = g_variant_n_children(array.get());
    for (gsize i = 0; i < count; ++i)
        all.push_back(get(Variant(g_variant_get_child_value(array.get(), i)).get()));
    return all;
}

std::string toString(GVariant *value) {
    gsize length = 0;
    const char *text = g_variant_get_string(value, &length);
    return std::string(text, length);
}

/// Writes the value with its type. Returns the name of the type; empty when the register does not
/// support it.
std::string store(_Register &reg, const std::string &name, const Variant &value) {
    if (isA(value, G_VARIANT_TYPE_STRING)) {
        reg._writeString(nullptr, name, toString(value.get()), UserScope);
        return "strings";
    }
    if (isA(value, G_VARIANT_TYPE_BOOLEAN)) {
        reg._writeBoolean(nullptr, name, g_variant_get_boolean(value.get()) != FALSE, UserScope);
        return "booleans";
    }
    if (isA(value, G_VARIANT_TYPE_DOUBLE)) {
        reg._writeNumber(nullptr, name, g_variant_get_double(value.get()), UserScope);
        return "numbers";
    }
    if (isA(value, G_VARIANT_TYPE_INT32)) {
        reg._writeInteger(nullptr, name, g_variant_get_int32(value.get()), UserScope);
        return "integers";
    }
    if (isA(value, G_VARIANT_TYPE_UINT32) && g_variant_get_uint32(value.get()) <= INT_MAX) {
        reg._writeInteger(nullptr, name, static_cast<int>(g_variant_get_uint32(value.get())),
                          UserScope);
        return "integers";
    }
    if (isA(value, G_VARIANT_TYPE_STRING_ARRAY)) {
        reg._writeStrings(nullptr, name, elements<std::string>(value, toString), UserScope);
        return "lists of strings";
    }
    if (isA(value, G_VARIANT_TYPE("ad"))) {
        reg._writeNumbers(nullptr, name, elements<double>(value, g_variant_get_double), UserScope);
        return "lists of numbers";
    }
    if (isA(value, G_VARIANT_TYPE("ai"))) {
        reg._writeIntegers(nullptr, name, elements<int>(value, g_variant_get_int32), UserScope);
        return "lists of integers";
    }
    return "";
}

} // namespace

void importSettings(std::istream &settings, _Register &reg) {
    std::map<std::string, int> stored;
    std::vector<std::string> refused;
    int lines = 0;
    for (std::string line; std::getline(settings, line); ++lines) {
        const std::size_t key = line.find(' ');
        const std::size_t value = key == std::string::npos ? key : line.find(' ', key + 1);
        std::string type;
        if (value != std::string::npos) {
            std::string name = line.substr(0, value);
            name[key] = '/';
            std::replace(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(key), '.', '/');
            if (const Variant parsed = parseVariant(line.substr(value + 1)))
                type = store(reg, name, parsed);
        }
        if (type.empty())
            refused.push_back(line);
        else
            ++stored[type];
    }
    std::cout << "  Of " << lines << " settings, " << lines - static_cast<int>(refused.size())
              << " are now typed properties:\n";
    for (const auto &[type, count] : stored)
        std::cout << "    " << type << ": " << count << "\n";
    std::cout << "  " << refused.size() << " have a type that the register does not support:\n";
    for (const std::string &line : refused)
        std::cout << "    " << line << "\n";
}
