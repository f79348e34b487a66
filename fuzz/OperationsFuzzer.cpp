// Bytes as a sequence of register operations, beside a simple model: a map from names to values.
#include "register/Register.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace utils::properties;

namespace {

const char *const names[] = {"a",
                             "b",
                             "a/b",
                             "a/b/c",
                             "a/c",
                             "b/a",
                             "/a",
                             "a//b",
                             "a/",
                             "",
                             "/",
                             "..",
                             "a/..",
                             "a/./b",
                             "\xFF",
                             "a/\xC0\xAF",
                             "\xC3\xA9",
                             "e\xCC\x81",
                             "d/d/d/d/d",
                             "d/d",
                             "d",
                             ("\xEF\xBB\xBF"
                              "a"),
                             "a b",
                             "A"};

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// One scope: what its names hold. A group holds nothing; a property holds the text of its value.
class Model {
public:
    using Value = std::optional<std::string>;

    /// What is at a name, or null.
    Value *find(const std::string &name) {
        const auto found = _entries.find(normal(name));
        if (found == _entries.end() || (found->second && isDirectoryOnly(name)))
            return nullptr;
        return &found->second;
    }
    bool isGroup(const std::string &name) {
        const Value *found = find(name);
        return found && !*found;
    }
    bool isProperty(const std::string &name) {
        const Value *found = find(name);
        return found && *found;
    }
    /// Creates it and the groups above it, or, where one of them cannot be, nothing.
    bool add(const std::string &name, const Value &value) {
        if (find(name) || !isAllowed(name) || (value && isDirectoryOnly(name)))
            return false;
        const std::string path = normal(name);
        for (std::size_t end = path.find('/'); end != std::string::npos;
             end = path.find('/', end + 1))
            if (isProperty(path.substr(0, end)))
                return false;
        if (_entries.count(path))
            return false;
        for (std::size_t end = path.find('/'); end != std::string::npos;
             end = path.find('/', end + 1))
            _entries.emplace(path.substr(0, end), std::nullopt);
        _entries.emplace(path, value);
        return true;
    }
    bool write(const std::string &name, const std::string &value) {
        if (isProperty(name)) {
            *find(name) = value;
            return true;
        }
        return add(name, value);
    }
    void remove(const std::string &name) {
        const std::string path = normal(name);
        if (path.empty() || !find(name))
            return;
        for (auto entry = _entries.begin(); entry != _entries.end();)
            entry =
                entry->first == path || entry->first.compare(0, path.size() + 1, path + "/") == 0
                    ? _entries.erase(entry)
                    : std::next(entry);
    }
    std::size_t memberCount(const std::string &name) {
        const std::string path = normal(name);
        const std::string prefix = path.empty() ? "" : path + "/";
        std::size_t count = 0;
        for (const auto &entry : _entries)
            count += !entry.first.empty() && entry.first.compare(0, prefix.size(), prefix) == 0 &&
                     entry.first.find('/', prefix.size()) == std::string::npos;
        return count;
    }

private:
    static std::vector<std::string> levels(const std::string &name) {
        std::vector<std::string> all(1);
        for (const char c : name)
            if (c == '/')
                all.emplace_back();
            else
                all.back() += c;
        return all;
    }
    static std::string normal(const std::string &name) {
        std::string path;
        for (const std::string &level : levels(name))
            if (!level.empty())
                path += (path.empty() ? "" : "/") + level;
        return path;
    }
    static bool isAllowed(const std::string &name) {
        for (const std::string &level : levels(name))
            if (level == "." || level == ".." || level == "\xFF" || level == "\xC0\xAF")
                return false;
        return true;
    }
    static bool isDirectoryOnly(const std::string &name) {
        return !name.empty() && name.back() == '/';
    }

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

/// The first of user, global and temp that has the name.
Model::Value *locate(Model (&models)[3], const std::string &name) {
    for (const RegisterScope scope : {UserScope, GlobalScope, TempScope})
        if (Model::Value *found = models[scope].find(name))
            return found;
    return nullptr;
}

void checkRead(_Register &reg, Model (&models)[3], const std::string &name) {
    const Model::Value *expected = locate(models, name);
    std::string value = "untouched";
    try {
        reg._readString(name, value);
        require(expected && *expected && (**expected)[0] == 'S' && value == (*expected)->substr(1));
    } catch (const PropertyNotFound &) {
        require(!expected || !*expected);
    } catch (const PropertyBadType &) {
        require(expected && *expected && (**expected)[0] != 'S');
    }
}

/// Everything that can be asked about a name.
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

/// The user scope written and read back, as a save and a start do.
void roundTrip(_Register &reg) {
    filesystem::RAMFileSystem memory;
    filesystem::FileHandle *handle = nullptr;
    require(memory.open("/f", &handle, _Register::WriteMode) && reg.serialize("/user/", *handle));
    memory.close(handle);
    require(memory.open("/f", &handle, _Register::ReadMode) && reg.unserialize("/user/", *handle));
    memory.close(handle);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    _Register &reg = _Register::getInstance();
    Model models[3];
    for (const RegisterScope scope : {GlobalScope, UserScope, TempScope})
        for (const filesystem::DirEntry &entry : reg.propertyList("", scope))
            reg.delProperty(entry.name.toStdString(), scope);

    for (std::size_t at = 0; at + 3 <= size; at += 3) {
        const std::string name = names[data[at + 1] % std::size(names)];
        const auto scope = static_cast<RegisterScope>(data[at + 2] % 3);
        const std::string text(data[at + 2], 'x');
        Model &model = models[scope];
        switch (data[at] % 8) {
        case 0:
            require(succeeds([&] { reg._writeString(nullptr, name, text, scope); }) ==
                    model.write(name, "S" + text));
            break;
        case 1:
            require(succeeds([&] {
                        reg._writeIntegers(nullptr, name, {1, 2}, scope);
                    }) == model.write(name, "L"));
            break;
        case 2:
            reg.addGroup(name, scope);
            model.add(name, std::nullopt);
            break;
        case 3:
            reg.addProperty(name, scope);
            model.add(name, "-");
            break;
        case 4:
            reg.delProperty(name, scope);
            model.remove(name);
            break;
        case 5:
            reg.resetProperty(nullptr, name, scope);
            if (model.isProperty(name))
                model.remove(name);
            break;
        case 6:
            if (succeeds([&] {
                    reg.closeProperty(reg.openProperty(name, _Register::WriteMode, scope));
                })) {
                require(model.isProperty(name) || model.add(name, "-"));
                *model.find(name) = "-"; // opened, nothing written
            } else {
                require(!model.isProperty(name));
            }
            break;
        case 7:
            roundTrip(reg);
            break;
        }
        checkName(reg, models, name);
    }
    for (const char *name : names)
        checkName(reg, models, name);
    return 0;
}
