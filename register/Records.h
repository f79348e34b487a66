#pragma once

#include "register/Property.h"

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace utils::properties {

/// A field of a record: the name of its property and the member that holds its value.
template <class Record>
class RecordField {
public:
    /// `name` has one level. `Value` is a type that a `Property` may have.
    template <class Value>
    RecordField(std::string name, Value Record::*member)
        : _name(std::move(name)), _load([member](const _Register &reg, const std::string &path,
                                                 RegisterScope scope, Record &record) {
              if (auto found = findStored<Value>(reg, path, scope))
                  record.*member = std::move(found->value);
          }),
          _store([member](_Register *reg, const std::string &path, RegisterScope scope,
                          const Record &record) {
              if (reg)
                  writeStored(*reg, nullptr, path, record.*member, scope);
              else
                  storedForm(path, record.*member);
          }) {}

    /// The name of the property in the group of a record.
    const std::string &name() const { return _name; }
    /// Sets the member from the property `path`; leaves it if the property is missing.
    void load(const _Register &reg, const std::string &path, RegisterScope scope,
              Record &record) const {
        _load(reg, path, scope, record);
    }
    /// Throws `utils::Exception` if the member cannot be stored.
    void check(const std::string &path, const Record &record) const {
        _store(nullptr, path, UserScope, record);
    }
    /// Writes the member to the property `path`.
    void write(_Register &reg, const std::string &path, RegisterScope scope,
               const Record &record) const {
        _store(&reg, path, scope, record);
    }

private:
    std::string _name;
    std::function<void(const _Register &, const std::string &, RegisterScope, Record &)> _load;
    std::function<void(_Register *, const std::string &, RegisterScope, const Record &)> _store;
};

/// The groups "0", "1" and so on of a group, which hold the records of a list; for `Records`.
class REGISTER_EXPORT RecordGroups {
public:
    /// The list that is the group `name`.
    RecordGroups(std::string name, RegisterScope scope);

    /// The first scope, in lookup order, that has the group of the list.
    std::optional<RegisterScope> origin() const;
    /// True when the scope has this record.
    bool exists(std::size_t index, RegisterScope scope) const;
    /// The name of a record's group.
    std::string pathOf(std::size_t index) const;
    /// Removes all members of the group, except the records below `count`, and from these all
    /// members except `fields`. Creates the group if it is missing.
    void keepOnly(std::size_t count, const std::vector<std::string> &fields) const;
    /// Removes the group.
    void reset(void *sender) const;

    ///@{
    /// What the constructor was given.
    const std::string &name() const { return _name; }
    RegisterScope scope() const { return _scope; }
    ///@}

private:
    void removeOthers(const std::string &group,
                      const std::function<bool(const filesystem::DirEntry &)> &isKept) const;

    std::string _name;
    RegisterScope _scope;
};

/// A list of records: structures of an application, each with the same fields. The fields of the
/// record i are properties of the group "NAME/i". The list is one value: it is read from one scope
/// and written as a whole. The group holds nothing else.
///
///     struct Recent { QString path; int line = 1; };
///     const Records<Recent> recent("recent", {{"path", &Recent::path}, {"line", &Recent::line}});
///
/// Any number of threads may use one object.
template <class Record>
class Records {
public:
    /// A field of the record.
    using Field = RecordField<Record>;

    /// Declares a list; reads and writes nothing.
    Records(std::string name, std::initializer_list<Field> fields, RegisterScope scope = UserScope)
        : _groups(std::move(name), scope), _fields(fields) {}

    /// Returns the list of the first scope, in lookup order, that has the group. It ends before the
    /// first number that is missing. A field that is missing, or not of its type, has the value of
    /// a default-constructed record.
    std::vector<Record> value() const {
        const _Register &reg = initializedRegister();
        const RegisterLock lock;
        std::vector<Record> records;
        if (const auto scope = _groups.origin())
            while (_groups.exists(records.size(), *scope)) {
                const std::string path = _groups.pathOf(records.size()) + "/";
                Record &record = records.emplace_back();
                for (const Field &field : _fields)
                    field.load(reg, path + field.name(), *scope, record);
            }
        return records;
    }

    /// Replaces the list in its scope, as one step: other threads see the old list or the new one.
    /// Then notifies the callbacks, except those whose owner is `sender`, once for each property
    /// that was written or removed. An empty list hides the lists of other scopes.
    ///
    /// Throws `utils::Exception`, with nothing changed, for a value that cannot be stored. For a
    /// name that cannot be written, and when memory runs out, the new list may be incomplete.
    /// Throws what a callback throws.
    void set(const std::vector<Record> &records, void *sender = nullptr) const {
        std::vector<std::string> names;
        for (const Field &field : _fields)
            names.push_back(field.name());
        forEach(records, [](const Field &field, const std::string &path, const Record &record) {
            field.check(path, record);
        });
        _Register &reg = initializedRegister();
        reg.changeInOneStep(sender, [&] {
            forEach(records,
                    [&](const Field &field, const std::string &path, const Record &record) {
                        field.write(reg, path, _groups.scope(), record);
                    });
            _groups.keepOnly(records.size(), names);
        });
    }

    /// Removes the list from its scope. `value` then returns that of another scope.
    void reset(void *sender = nullptr) const { _groups.reset(sender); }

private:
    template <class Visit>
    void forEach(const std::vector<Record> &records, Visit visit) const {
        for (std::size_t i = 0; i < records.size(); ++i)
            for (const Field &field : _fields)
                visit(field, _groups.pathOf(i) + "/" + field.name(), records[i]);
    }

    RecordGroups _groups;
    std::vector<Field> _fields;
};

} // namespace utils::properties
