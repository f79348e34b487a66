#include "ImportSettings.h"

#include <exception/Exception.h>

#include <nlohmann/json.hpp>

#include <set>
#include <utility>

namespace registerctl {

using utils::Exception;
using utils::properties::NoValue;

namespace {

constexpr std::size_t maxLevels = 512; // the register has no names of more

struct Node {
    enum Kind { Scalar, Object, Array } kind = Scalar;
    PropertyValue value;   ///< of a scalar
    std::string objection; ///< why the register cannot hold a scalar
    std::string key;       ///< in an object
    std::vector<Node> members;

    bool isScalar() const { return kind == Scalar; }
    /// True if it becomes one property, or is refused as one.
    bool isValue() const { return isScalar() || (kind == Array && allOf(&Node::isScalar)); }
    bool isRecord() const { return kind == Object && !members.empty() && allOf(&Node::isValue); }
    bool isRecords() const { return kind == Array && !members.empty() && allOf(&Node::isRecord); }

private:
    bool allOf(bool (Node::*is)() const) const {
        return std::all_of(members.begin(), members.end(),
                           [is](const Node &member) { return (member.*is)(); });
    }
};

/// Builds the nodes. The class of the JSON library that does so would let a key occur twice, and
/// round large integers.
class Builder : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit Builder(const std::string &text) : _text(text) {}

    Node root;

    bool null() override { return addValue(NoValue()); }
    bool boolean(bool value) override { return addValue(value); }
    bool number_integer(std::int64_t value) override { return addInteger(value); }
    bool number_unsigned(std::uint64_t value) override { return addInteger(value); }
    bool number_float(double value, const std::string &text) override {
        if (text.find_first_of(".eE") != text.npos)
            return addValue(value);
        add().objection = text + " does not fit in an integer of 32 bits";
        return true;
    }
    bool string(std::string &value) override { return addValue(std::move(value)); }
    bool binary(binary_t &) override { return false; } // not in text
    bool start_object(std::size_t) override { return open(Node::Object); }
    bool start_array(std::size_t) override { return open(Node::Array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(std::string &key) override {
        if (!_open.back().keys.insert(key).second)
            throw Exception(path() + key + ": the key occurs twice in one object");
        _key = std::move(key);
        return true;
    }
    bool parse_error(std::size_t position, const std::string &,
                     const nlohmann::detail::exception &error) override {
        const std::string what = error.what(); // "[class] parse error at line 1, column 2: why"
        const std::size_t why = std::max(what.find("] ") + 2, what.find(": ") + 2);
        failAt(lineOf(_text, position == 0 ? 0 : position - 1), what.substr(why));
    }

private:
    struct Open {
        Node *node; // stays in place: what holds it grows only after it is closed
        std::set<std::string> keys;
    };

    Node &add() {
        Node &node = _open.empty() ? root : _open.back().node->members.emplace_back();
        node.key = std::move(_key);
        _key.clear();
        return node;
    }
    bool addValue(PropertyValue value) {
        add().value = std::move(value);
        return true;
    }
    template <class Integer>
    bool addInteger(Integer value) {
        Node &node = add();
        try {
            node.value = toInteger(value);
        } catch (const Exception &error) {
            node.objection = error.what();
        }
        return true;
    }
    bool open(Node::Kind kind) {
        if (_open.size() == maxLevels)
            throw Exception("more than " + std::to_string(maxLevels) + " levels");
        Node &node = add();
        node.kind = kind;
        _open.push_back({&node, {}});
        return true;
    }
    bool close() {
        _open.pop_back();
        return true;
    }
    std::string path() const {
        std::string path;
        for (const Open &level : _open)
            path += level.node->key.empty() ? "" : level.node->key + "/";
        return path;
    }

    const std::string &_text;
    std::string _key; ///< of the value that follows
    std::vector<Open> _open;
};

std::string below(const std::string &group, const std::string &key) {
    return group.empty() ? key : group + "/" + key;
}

/// The key becomes one level of a name. A "/" in it would make it two, and the application that
/// has the key would not know them.
void checkKey(const std::string &key) {
    if (key.empty() || key.find('/') != key.npos)
        throw Exception(key.empty() ? "an empty key" : "a key with \"/\"");
}

PropertyValue valueOf(const Node &node) {
    if (!node.objection.empty())
        throw Exception(node.objection);
    if (node.isScalar())
        return node.value;
    if (node.members.empty())
        throw Exception("an empty array, whose elements have no type");
    std::vector<PropertyValue> values;
    for (const Node &member : node.members) {
        if (!member.isScalar())
            throw Exception("an array that is neither a list of values nor one of records");
        values.push_back(valueOf(member));
    }
    std::optional<PropertyValue> list = listOf(values);
    if (!list)
        throw Exception("an array whose elements do not have one type");
    return std::move(*list);
}

/// Adds an array of objects as `Records` reads it, all of it or nothing.
void addRecords(const Node &array, const std::string &name, Settings &settings) {
    std::vector<std::pair<std::string, PropertyValue>> fields;
    try {
        for (std::size_t i = 0; i < array.members.size(); ++i)
            for (const Node &field : array.members[i].members) {
                checkKey(field.key);
                const std::string path = name + "/" + std::to_string(i) + "/" + field.key;
                if (const std::string why = settings.objection(path); !why.empty())
                    throw Exception(why);
                fields.emplace_back(path, valueOf(field));
            }
    } catch (const Exception &error) {
        return settings.refuse(name, std::string("an array of objects: ") + error.what());
    }
    for (auto &[path, value] : fields)
        settings.add(path, std::move(value));
}

void addMembers(const Node &object, const std::string &name, Settings &settings);

void addNode(const Node &node, const std::string &name, Settings &settings) {
    try {
        checkKey(node.key);
    } catch (const Exception &error) {
        return settings.refuse(name, error.what());
    }
    if (node.isRecords())
        addRecords(node, name, settings);
    else if (node.kind != Node::Object)
        settings.addConverted(name, [&] { return valueOf(node); });
    else if (node.members.empty())
        settings.refuse(name, "an object without members");
    else
        addMembers(node, name, settings);
}

void addMembers(const Node &object, const std::string &name, Settings &settings) {
    for (const Node &member : object.members)
        addNode(member, below(name, member.key), settings);
}

} // namespace

void importJson(const std::string &text, Settings &settings) {
    Builder builder(text);
    nlohmann::json::sax_parse(text, &builder);
    if (builder.root.kind != Node::Object)
        failAt(1, "the text is not a JSON object");
    addMembers(builder.root, "", settings);
}

} // namespace registerctl
