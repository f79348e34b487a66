#include "register/Property.h"

#include "filesystem/Utf8.h"

#include <exception>

namespace utils::properties {

namespace {

std::string toUtf8OrThrow(const std::string &name, const QString &text) {
    if (!text.isValidUtf16())
        throw Exception("The text for " + name + " is not valid UTF-16.");
    return text.toStdString();
}

} // namespace

PropertyHandle::PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                               RegisterScope scope)
    : _handle(&initializedRegister().openProperty(name, mode, scope)),
      _exceptions(std::uncaught_exceptions()) {}

PropertyHandle::PropertyHandle(PropertyHandle &&other) noexcept
    : _handle(std::exchange(other._handle, nullptr)), _exceptions(other._exceptions) {}

PropertyHandle &PropertyHandle::operator=(PropertyHandle &&other) noexcept {
    PropertyHandle moved(std::move(other));
    std::swap(_handle, moved._handle);
    std::swap(_exceptions, moved._exceptions);
    return *this;
}

PropertyHandle::~PropertyHandle() {
    if (std::uncaught_exceptions() > _exceptions) {
        delete _handle;
    } else if (_handle) {
        try {
            initializedRegister().closeProperty(*_handle);
        } catch (const std::exception &) { // out of memory: the bytes are dropped
        }
    }
}

QString Storage<QString>::load(const Stored &stored) {
    return filesystem::toQString(stored);
}

void Storage<QString>::write(_Register &reg, void *sender, const std::string &name,
                             const QString &value, RegisterScope scope) {
    reg._writeString(sender, name, toUtf8OrThrow(name, value), scope);
}

QStringList Storage<QStringList>::load(const Stored &stored) {
    QStringList texts;
    texts.reserve(static_cast<decltype(texts.size())>(stored.size()));
    for (const std::string &text : stored)
        texts.append(filesystem::toQString(text));
    return texts;
}

void Storage<QStringList>::write(_Register &reg, void *sender, const std::string &name,
                                 const QStringList &value, RegisterScope scope) {
    std::vector<std::string> texts;
    texts.reserve(static_cast<std::size_t>(value.size()));
    for (const QString &text : value)
        texts.push_back(toUtf8OrThrow(name, text));
    reg._writeStrings(sender, name, texts, scope);
}

} // namespace utils::properties
