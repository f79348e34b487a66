// Runs the input as a sequence of register operations. Compares the register with a simple model: a
// map from names to values.
#include "register/Register.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace utils::properties;

namespace {

const std::string allowed[] = {
    "a",   "b",  "a/b", "a/b/c",    "a/c",      "b/a",       "/a",  "a//b", "a/",
    "",    "/",  "d",   "d/d",      "\xC3\xA9", "e\xCC\x81", "a b", "A",    "\xEF\xBB\xBF\x61",
    "...", ".x", "d/e", "d/d/d/d/d"};
const std::string forbidden[] = {"..", "a/..", "a/./b", "\xFF", "a/\xC0\xAF", "a/\xED\xA0\x80"};

void require(bool holds) {
    if (!holds)
        std::abort();
}

bool isForbidden(const std::string &name) {
    return std::count(std::begin(forbidden), std::end(forbidden), name) > 0;
}

bool namesGroupOnly(const std::string &name) {
    return !name.empty() && name.back() == '/';
}

/// Returns the name without empty levels.
std::string normal(const std::string &name) {
    std::string path;
    for (const char c : name)
        if (c != '/' || (!path.empty() && path.back() != '/'))
            path += c;
    return namesGroupOnly(path) ? path.substr(0, path.size() - 1) : path;
}

/// The content of one scope. A group has no value. The value of a property is a letter for its
/// type, followed by the text of a string.
class Model {
public:
    using Value = std::optional<std::string>;

    /// Returns the entry with this name, or null.
    Value *find(const std::string &name) {
        const auto found = _entries.find(normal(name));
        if (found == _entries.end() || (found->second && namesGroupOnly(name)))
            return nullptr;
        return &found->second;
    }
    bool isGroup(const std::string &name) { return find(name) && !*find(name); }
    bool isProperty(const std::string &name) { return find(name) && *find(name); }

    /// Creates the entry and the groups above it. Creates nothing when one of them is not possible.
    bool add(const std::string &name, const Value &value) {
        const std::string path = normal(name);
        if (_entries.count(path) || isForbidden(name) || (value && namesGroupOnly(name)))
            return false;
        std::map<std::string, Value> added = {{path, value}};
        for (std::size_t end = path.find('/'); end < path.size(); end = path.find('/', end + 1))
            added.emplace(path.substr(0, end), std::nullopt);
        for (const auto &entry : added)
            if (isProperty(entry.first))
                return false;
        _entries.merge(added);
        return true;
    }
    bool write(const std::string &name, const std::string &value) {
        if (!isProperty(name))
            return add(name, value);
        *find(name) = value;
        return true;
    }
    void remove(const std::string &name) {
        const std::string path = normal(name);
        if (path.empty() || !find(name))
            return;
        _entries.erase(path);
        _entries.erase(_entries.lower_bound(path + "/"), _entries.lower_bound(path + "0"));
    }
    std::size_t memberCount(const std::string &name) {
        const std::string prefix = normal(name).empty() ? "" : normal(name) + "/";
        std::size_t count = 0;
        for (const auto &entry : _entries)
            count += !entry.first.empty() && entry.first.compare(0, prefix.size(), prefix) == 0 &&
                     entry.first.find('/', prefix.size()) == std::string::npos;
        return count;
    }

private:
    std::map<std::string, Value> _entries{{"", std::nullopt}};
};

template <class Call>
bool succeeds(Call call) {
    try {
        call();
        return true;
    } catch (const utils::Exception &) {
        return false;
    }
}

/// Checks that a read uses the first of the user, global and temp scopes that has the name.
void checkRead(_Register &reg, Model (&models)[3], const std::string &name) {
    const Model::Value *expected = nullptr;
    for (const RegisterScope scope : {TempScope, GlobalScope, UserScope})
        if (const Model::Value *found = models[scope].find(name))
            expected = found;
    std::string value = "untouched";
    try {
        reg._readString(name, value);
        require(expected && *expected && **expected == "S" + value);
    } catch (const PropertyNotFound &) {
        require(!expected || !*expected);
    } catch (const PropertyBadType &) {
        require(expected && *expected && (**expected)[0] != 'S');
    }
}

/// Checks all queries about a name.
void checkName(_Register &reg, Model (&models)[3], const std::string &name) {
    for (const RegisterScope scope : {GlobalScope, UserScope, TempScope}) {
        Model &model = models[scope];
        require(reg.groupExists(name, scope) == model.isGroup(name));
        require(reg.propertyExists(name, scope) == (model.find(name) != nullptr));
        std::size_t count = 0;
        require(succeeds([&] { count = reg.propertyList(name, scope).size(); }) ==
                model.isGroup(name));
        require(!model.isGroup(name) || count == model.memberCount(name));
        std::string value;
        const bool isString = model.isProperty(name) && (**model.find(name))[0] == 'S';
        require(reg.findValue(name, value, scope).has_value() == isString);
    }
    checkRead(reg, models, name);
}

/// Writes the user scope and reads it back, as a save and a start do.
void roundTrip(_Register &reg) {
    filesystem::RAMFileSystem memory;
    filesystem::FileHandle *handle = nullptr;
    require(memory.open("/f", &handle, _Register::WriteMode) && reg.serialize("/user/", *handle));
    memory.close(handle);
    require(memory.open("/f", &handle, _Register::ReadMode) && reg.unserialize("/user/", *handle));
    memory.close(handle);
}

/// Runs one operation on the register and on the model.
void operate(_Register &reg, Model &model, int operation, const std::string &name,
             RegisterScope scope, const std::string &text) {
    switch (operation) {
    case 0:
        return require(succeeds([&] { reg._writeString(nullptr, name, text, scope); }) ==
                       model.write(name, "S" + text));
    case 1:
        return require(succeeds([&] {
                           reg._writeIntegers(nullptr, name, {1, 2}, scope);
                       }) == model.write(name, "L"));
    case 2:
        reg.addGroup(name, scope);
        model.add(name, std::nullopt);
        return;
    case 3:
        reg.addProperty(name, scope);
        model.add(name, "-");
        return;
    case 4:
        reg.delProperty(name, scope);
        return model.remove(name);
    case 5:
        reg.resetProperty(nullptr, name, scope);
        return model.isProperty(name) ? model.remove(name) : void();
    case 6:
        if (succeeds(
                [&] { reg.closeProperty(reg.openProperty(name, _Register::WriteMode, scope)); }))
            return require(model.write(name, "-")); // opened, nothing written
        return require(!model.isProperty(name));
    default:
        return roundTrip(reg);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    _Register &reg = _Register::getInstance();
    Model models[3];
    for (const RegisterScope scope : {GlobalScope, UserScope, TempScope})
        for (const filesystem::DirEntry &entry : reg.propertyList("", scope))
            reg.delProperty(entry.name.toStdString(), scope);
    std::vector<std::string> names(std::begin(allowed), std::end(allowed));
    names.insert(names.end(), std::begin(forbidden), std::end(forbidden));

    for (std::size_t at = 0; at + 3 <= size; at += 3) {
        const std::string &name = names[data[at + 1] % names.size()];
        const auto scope = static_cast<RegisterScope>(data[at + 2] % 3);
        operate(reg, models[scope], data[at] % 8, name, scope, std::string(data[at + 2], 'x'));
        checkName(reg, models, name);
    }
    for (const std::string &name : names)
        checkName(reg, models, name);
    return 0;
}
