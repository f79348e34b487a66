#include "FileSource.h"

#include "../registerctl/Files.h"
#include "../registerctl/Literal.h"

#include <QFileInfo>

#include <algorithm>
#include <functional>
#include <set>

namespace registerEditor {

using utils::properties::NoValue;
using utils::properties::PropertyBadType;
using utils::properties::RegisterFileError;

namespace {

QString toQString(const std::string &text) {
    return QString::fromStdString(text);
}

QStringList filesOf(const std::vector<FileSource::Path> &paths) {
    QStringList files;
    for (const FileSource::Path &each : paths)
        files += toQString(each.path);
    return files;
}

bool isProperty(const RegisterFile &file, const std::string &name) {
    return file.propertyExists(name) && !file.groupExists(name);
}

/// The group that a name lies in; the file's root is "".
std::string groupOf(const std::string &name) {
    const std::size_t slash = name.rfind('/');
    return slash == name.npos ? std::string() : name.substr(0, slash);
}

bool isEmptyGroup(const RegisterFile &file, const std::string &name) {
    return !name.empty() && file.groupExists(name) && file.propertyList(name).empty();
}

/// Throws when a property is not as in `expected`.
void checkUnchanged(const RegisterFile &file, const std::string &name, const Content &expected) {
    if (name.back() == '/')
        return;
    const Content now = isProperty(file, name) ? registerctl::contentOf(file, name) : Content();
    const auto wanted = expected.find(name);
    if (now != (wanted == expected.end() ? Content() : Content{*wanted}))
        throw registerctl::Failure(registerctl::WrongValue,
                                   registerctl::nameToText(name) + " was changed meanwhile.");
}

/// Removes what only `from` has, and then the groups that have become empty, and writes `to`.
void change(RegisterFile &file, const Content &from, const Content &to) {
    std::set<std::string> groups;
    for (const auto &[name, literal] : from) {
        if (to.count(name) > 0)
            continue;
        groups.insert(groupOf(name));
        if (isProperty(file, name))
            file.delProperty(name);
    }
    for (std::string group : groups)
        for (; isEmptyGroup(file, group); group = groupOf(group))
            file.delProperty(group);
    registerctl::writeContent(to, file);
}

} // namespace

FileSource::FileSource(const std::vector<Path> &paths) : _watch(filesOf(paths)) {
    for (const Path &each : paths)
        _layers.push_back({each.scope, RegisterFile(each.path), each.isForAll});
    connect(&_watch, &utils::properties::FileWatch::changed, this, &FileSource::refresh);
}

void FileSource::refresh() {
    _error.clear();
    for (Layer &each : _layers) {
        try {
            RegisterFile now(each.file.path());
            const Content before = registerctl::contentOf(each.file, {});
            const Content after = registerctl::contentOf(now, {});
            each.file = std::move(now);
            for (const registerctl::Difference &change : registerctl::differences(before, after))
                tell((change.before ? change.before : change.after)->first);
        } catch (const RegisterFileError &failure) {
            _error = QString::fromUtf8(failure.what());
        }
    }
    emit refreshed();
}

FileSource::Layer &FileSource::layer(RegisterScope scope) {
    return *std::find_if(_layers.begin(), _layers.end(),
                         [&](const Layer &each) { return each.scope == scope; });
}

const FileSource::Layer &FileSource::layer(RegisterScope scope) const {
    return const_cast<FileSource *>(this)->layer(scope);
}

const std::string &FileSource::path(RegisterScope scope) const {
    return layer(scope).file.path();
}

QString FileSource::notice(RegisterScope edited) const {
    const RegisterFile &file = this->file(edited);
    if (!_error.isEmpty())
        return _error;
    if (!isWritable(edited))
        return tr("You may not write this file.");
    if (file.willBeOverwritten())
        return tr("A running application will overwrite the file when it saves.");
    if (!QFileInfo::exists(toQString(file.path())))
        return tr("The file does not exist yet. The first change creates it.");
    return edited == utils::properties::GlobalScope ? tr("You edit the global file.") : QString();
}

std::vector<RegisterScope> FileSource::scopes() const {
    std::vector<RegisterScope> scopes;
    for (const Layer &each : _layers)
        scopes.push_back(each.scope);
    return scopes;
}

std::vector<FileSource::Member> FileSource::members(const std::string &group,
                                                    RegisterScope scope) const {
    if (!isGroup(group, scope))
        return {};
    std::vector<Member> members;
    for (const filesystem::DirEntry &entry : file(scope).propertyList(group))
        members.push_back({entry.name.toStdString(), entry.isDirectory});
    return members;
}

bool FileSource::isGroup(const std::string &name, RegisterScope scope) const {
    return file(scope).groupExists(name);
}

PropertyValue FileSource::read(const std::string &name, RegisterScope scope) const {
    try {
        return file(scope).readAny(name);
    } catch (const PropertyBadType &) {
        return NoValue();
    }
}

bool FileSource::isWritable(RegisterScope scope) const {
    const bool exists = std::any_of(_layers.begin(), _layers.end(),
                                    [&](const Layer &each) { return each.scope == scope; });
    if (!exists)
        return false;
    const QFileInfo info(QString::fromStdString(path(scope)));
    const QFileInfo directory(info.path());
    return (!info.exists() || info.isWritable()) && (!directory.exists() || directory.isWritable());
}

void FileSource::write(const std::string &name, const PropertyValue &value, RegisterScope scope) {
    const bool isRemoved = std::holds_alternative<std::monostate>(value);
    const Content to = {{name, isRemoved ? "" : registerctl::toLiteral(value)}};
    replace(contentBefore(to, scope), isRemoved ? Content() : to, scope);
}

Content FileSource::contentBefore(const Content &to, RegisterScope scope) const {
    const RegisterFile &now = file(scope);
    Content before;
    for (const auto &[name, literal] : to) {
        if (isProperty(now, name))
            before.merge(registerctl::contentOf(now, name));
        std::string group = groupOf(name);
        while (!group.empty() && !now.groupExists(group))
            group = groupOf(group);
        if (isEmptyGroup(now, group))
            before[group + '/'];
    }
    return before;
}

void FileSource::replace(const Content &from, const Content &to, RegisterScope scope) {
    RegisterFile &file = layer(scope).file;
    for (const Content &side : {std::cref(from), std::cref(to)})
        for (const auto &[name, literal] : side)
            checkUnchanged(file, name, from);
    try {
        change(file, from, to);
        const bool isForAll = layer(scope).isForAll;
        for (const std::string &taken :
             (isForAll ? registerctl::saveForAll(file) : file.save()).taken)
            tell(taken);
    } catch (const std::exception &) {
        change(file, to, from);
        throw;
    }
    for (const Content &side : {std::cref(from), std::cref(to)})
        for (const auto &[name, literal] : side)
            tell(name);
}

/// Tells the listener the name of an entry.
void FileSource::tell(const std::string &entry) const {
    if (_listener)
        _listener(entry.substr(0, entry.size() - (entry.back() == '/')));
}

void FileSource::setListener(std::function<void(const std::string &)> listener) {
    _listener = std::move(listener);
}

} // namespace registerEditor
