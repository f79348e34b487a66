#include "ImportKeyFile.h"
#include "ImportSettings.h"

#include <exception/Exception.h>

#include <glib.h>

#include <algorithm>
#include <memory>

namespace registerctl {

using utils::Exception;

namespace {

struct VariantDeleter {
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantDeleter>;

Variant parse(const std::string &text) {
    GError *error = nullptr;
    Variant variant(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &error));
    checkGlib(error);
    if (!variant) // with no error, for the escape of a surrogate
        throw Exception("not the text of a GVariant");
    return variant;
}

[[noreturn]] void refuseType(const std::string &type) {
    throw Exception("the register has no type for the GVariant type " + type);
}

std::string stringOf(GVariant *variant) {
    gsize length = 0;
    const char *text = g_variant_get_string(variant, &length);
    return {text, length};
}

PropertyValue scalar(GVariant *variant) {
    switch (g_variant_classify(variant)) {
    case G_VARIANT_CLASS_BOOLEAN:
        return g_variant_get_boolean(variant) != FALSE;
    case G_VARIANT_CLASS_BYTE:
        return int(g_variant_get_byte(variant));
    case G_VARIANT_CLASS_INT16:
        return int(g_variant_get_int16(variant));
    case G_VARIANT_CLASS_UINT16:
        return int(g_variant_get_uint16(variant));
    case G_VARIANT_CLASS_INT32:
        return int(g_variant_get_int32(variant));
    case G_VARIANT_CLASS_UINT32:
        return toInteger(std::uint64_t(g_variant_get_uint32(variant)));
    case G_VARIANT_CLASS_INT64:
        return toInteger(std::int64_t(g_variant_get_int64(variant)));
    case G_VARIANT_CLASS_UINT64:
        return toInteger(std::uint64_t(g_variant_get_uint64(variant)));
    case G_VARIANT_CLASS_DOUBLE:
        return g_variant_get_double(variant);
    case G_VARIANT_CLASS_STRING:
    case G_VARIANT_CLASS_OBJECT_PATH:
    case G_VARIANT_CLASS_SIGNATURE:
        return stringOf(variant);
    default:
        refuseType(g_variant_get_type_string(variant));
    }
}

/// The empty list for an array type such as "as".
PropertyValue emptyList(const std::string &type) {
    if (type == "ab")
        return std::vector<bool>();
    if (type == "ad")
        return std::vector<double>();
    if (type == "as" || type == "ao" || type == "ag")
        return std::vector<std::string>();
    if (type.size() == 2 && std::string("nqiuxt").find(type[1]) != std::string::npos)
        return std::vector<int>();
    refuseType(type);
}

/// The bytes that b'...' writes: an array that ends with its only byte 0.
PropertyValue byteString(GVariant *array) {
    gsize size = 0;
    const auto *bytes = static_cast<const char *>(g_variant_get_fixed_array(array, &size, 1));
    if (size == 0 || std::find(bytes, bytes + size, '\0') != bytes + size - 1)
        throw Exception("an array of bytes (GVariant type ay) that is not a string of bytes");
    return std::string(bytes, size - 1);
}

PropertyValue valueOf(GVariant *variant) {
    if (!g_variant_is_of_type(variant, G_VARIANT_TYPE_ARRAY))
        return scalar(variant);
    if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BYTESTRING))
        return byteString(variant);
    PropertyValue empty = emptyList(g_variant_get_type_string(variant));
    std::vector<PropertyValue> elements;
    const gsize count = g_variant_n_children(variant);
    for (gsize i = 0; i < count; ++i)
        elements.push_back(scalar(Variant(g_variant_get_child_value(variant, i)).get()));
    return listOf(elements).value_or(std::move(empty));
}

void addText(Settings &settings, const std::string &name, const std::string &text) {
    settings.addConverted(name, [&] { return valueOf(parse(text).get()); });
}

} // namespace

void importDconf(const std::string &text, Settings &settings) {
    forEachKey(text, [&](GKeyFile *file, const char *group, const char *key) {
        const std::string path = group;
        const Text value(g_key_file_get_value(file, group, key, nullptr));
        addText(settings, path == "/" ? key : path + "/" + key, value.get());
    });
}

void importGSettings(const std::string &text, Settings &settings) {
    std::size_t number = 0;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
        ++number;
        end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (line.empty())
            continue;
        const std::size_t key = line.find(' ');
        const std::size_t value = key == line.npos ? key : line.find(' ', key + 1);
        if (value == line.npos)
            failAt(number, "not a schema, a key and a value");
        std::string name = line.substr(0, value);
        name[key] = '/';
        std::replace(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(key), '.', '/');
        addText(settings, name, line.substr(value + 1));
    }
}

} // namespace registerctl
