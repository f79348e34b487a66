#include "FileSource.h"

#include "../registerctl/Dump.h"

#include <QFileInfo>

#include <algorithm>

namespace registerEditor {

using registerctl::Content;
using utils::properties::NoValue;
using utils::properties::PropertyBadType;
using utils::properties::RegisterFileError;

namespace {

QString toQString(const std::string &text) {
    return QString::fromStdString(text);
}

QString directoryOf(const std::string &path) {
    return QFileInfo(toQString(path)).path();
}

} // namespace

FileSource::FileSource(std::vector<Path> paths) {
    for (const Path &each : paths)
        _layers.push_back({each.scope, RegisterFile(each.path)});
    constexpr int settlingTime = 50; // the steps of a save follow each other in a few milliseconds
    _settle.setInterval(settlingTime);
    _settle.setSingleShot(true);
    for (auto changed : {&QFileSystemWatcher::directoryChanged, &QFileSystemWatcher::fileChanged})
        connect(&_watcher, changed, &_settle, [this] { _settle.start(); });
    connect(&_settle, &QTimer::timeout, this, &FileSource::refresh);
    watch();
}

/// A save renames a new file over the old one, which the directory tells. Other programs may write
/// into the file itself.
void FileSource::watch() {
    for (const Layer &each : _layers)
        for (const QString &path : {directoryOf(each.file.path()), toQString(each.file.path())})
            if (QFileInfo::exists(path))
                _watcher.addPath(path);
}

void FileSource::refresh() {
    watch();
    QString error;
    for (Layer &each : _layers) {
        try {
            RegisterFile now(each.file.path());
            const Content before = registerctl::contentOf(each.file, {});
            const Content after = registerctl::contentOf(now, {});
            each.file = std::move(now);
            for (const registerctl::Difference &change : registerctl::differences(before, after)) {
                std::string name = (change.before ? change.before : change.after)->first;
                if (name.back() == '/')
                    name.pop_back();
                if (_listener)
                    _listener(name);
            }
        } catch (const RegisterFileError &failure) {
            error = QString::fromUtf8(failure.what());
        }
    }
    emit readFailed(error);
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

bool FileSource::willBeOverwritten() const {
    return _layers.front().file.willBeOverwritten();
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
    RegisterFile &file = layer(scope).file;
    const PropertyValue before = read(name, scope);
    file.writeAny(name, value);
    try {
        for (const std::string &taken : file.save().taken)
            if (_listener)
                _listener(taken);
    } catch (const RegisterFileError &) {
        file.writeAny(name, before);
        throw;
    }
}

void FileSource::replace(const RegisterFile &content, const std::string &prefix) {
    RegisterFile &file = _layers.front().file;
    registerctl::copyContent(registerctl::contentOf(content, prefix), content, file);
    file.save();
    if (_listener)
        for (const auto &[name, literal] : registerctl::contentOf(content, prefix))
            _listener(literal.empty() ? name.substr(0, name.size() - 1) : name);
}

void FileSource::setListener(std::function<void(const std::string &)> listener) {
    _listener = std::move(listener);
}

} // namespace registerEditor
