#include "register/Storage.h"

#include "filesystem/Utf8.h"

namespace utils::properties {

QString Storage<QString>::load(const Stored &stored) {
    return filesystem::toQString(stored);
}

std::string Storage<QString>::store(const QString &text) {
    if (!text.isValidUtf16())
        throw Exception("it is not valid UTF-16.");
    return text.toStdString();
}

QStringList Storage<QStringList>::load(const Stored &stored) {
    QStringList texts;
    texts.reserve(static_cast<decltype(texts.size())>(stored.size()));
    for (const std::string &text : stored)
        texts.append(filesystem::toQString(text));
    return texts;
}

std::vector<std::string> Storage<QStringList>::store(const QStringList &texts) {
    Stored stored;
    stored.reserve(static_cast<std::size_t>(texts.size()));
    for (const QString &text : texts)
        stored.push_back(Storage<QString>::store(text));
    return stored;
}

} // namespace utils::properties
