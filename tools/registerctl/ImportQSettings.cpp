#include "ImportSettings.h"

#include <exception/Exception.h>
#include <register/QtTypes.h>

#include <QSettings>
#include <QTemporaryFile>
#include <QThread>
#include <QVariant>

#include <exception>
#include <memory>
#include <new>
#include <set>

namespace registerctl {

using utils::Exception;
using utils::properties::Storage;

namespace {

template <class Value>
PropertyValue stored(const QVariant &value) {
    return Storage<Value>::store(value.value<Value>());
}

struct Conversion {
    int type;
    PropertyValue (*convert)(const QVariant &value);
};
constexpr Conversion conversions[] = {
    {QMetaType::Bool, stored<bool>},           {QMetaType::Int, stored<int>},
    {QMetaType::UInt, stored<unsigned>},       {QMetaType::LongLong, stored<qlonglong>},
    {QMetaType::Double, stored<double>},       {QMetaType::ULongLong, stored<qulonglong>},
    {QMetaType::Float, stored<float>},         {QMetaType::QByteArray, stored<QByteArray>},
    {QMetaType::QPoint, stored<QPoint>},       {QMetaType::QPointF, stored<QPointF>},
    {QMetaType::QSize, stored<QSize>},         {QMetaType::QSizeF, stored<QSizeF>},
    {QMetaType::QRect, stored<QRect>},         {QMetaType::QRectF, stored<QRectF>},
    {QMetaType::QDate, stored<QDate>},         {QMetaType::QTime, stored<QTime>},
    {QMetaType::QDateTime, stored<QDateTime>}, {QMetaType::QUrl, stored<QUrl>},
    {QMetaType::QUuid, stored<QUuid>}};

PropertyValue convertOne(const QVariant &value, const Settings &settings) {
    const int type = value.userType();
    if (type == QMetaType::QString)
        return settings.fromText(Storage<QString>::store(value.toString()));
    for (const Conversion &conversion : conversions)
        if (type == conversion.type)
            return conversion.convert(value);
    // QSettings has the same answer for the two.
    if (!value.isValid())
        throw Exception("no value, or one of a type that Qt Core does not have");
    throw Exception(std::string("the register has no type for ") + value.typeName());
}

PropertyValue convert(const QVariant &value, const Settings &settings) {
    if (value.userType() == QMetaType::QStringList)
        return settings.fromTexts(Storage<QStringList>::store(value.toStringList()));
    if (value.userType() != QMetaType::QVariantList)
        return convertOne(value, settings);
    std::vector<PropertyValue> elements;
    for (const QVariant &element : value.toList())
        elements.push_back(convertOne(element, settings));
    if (auto list = listOf(elements))
        return std::move(*list);
    throw Exception("a list whose elements do not have one type that the register has in lists");
}

using Properties = std::map<std::string, PropertyValue>;

/// The number that QSettings writes for an element or the size of an array; 0 for all else.
std::size_t countOf(const std::string &text) {
    const bool ok = !text.empty() && text.size() < 10 && text.front() != '0' &&
                    text.find_first_not_of("0123456789") == text.npos;
    return ok ? std::stoul(text) : 0;
}

std::size_t countOf(const PropertyValue &value) {
    if (const int *integer = std::get_if<int>(&value))
        return countOf(std::to_string(*integer));
    const auto *text = std::get_if<std::string>(&value);
    return text ? countOf(*text) : 0;
}

bool startsWith(const std::string &text, const std::string &front) {
    return text.compare(0, front.size(), front) == 0;
}

/// True when the group holds only the size and elements, and every element from 1 to the size.
bool isArray(const Properties &properties, const std::string &group, std::size_t size) {
    std::set<std::size_t> elements;
    for (auto at = properties.lower_bound(group);
         at != properties.end() && startsWith(at->first, group); ++at) {
        const std::string rest = at->first.substr(group.size());
        if (rest == "size")
            continue;
        const std::size_t slash = rest.find('/');
        const std::size_t element = slash == rest.npos ? 0 : countOf(rest.substr(0, slash));
        if (element == 0 || element > size)
            return false;
        elements.insert(element);
    }
    return elements.size() == size;
}

/// Renames "recent/1/path" to "recent/0/path" and removes "recent/size".
void makeRecords(Properties &properties, const std::string &group) {
    Properties records;
    auto at = properties.lower_bound(group);
    while (at != properties.end() && startsWith(at->first, group)) {
        auto node = properties.extract(at++);
        const std::string rest = node.key().substr(group.size());
        if (rest == "size")
            continue;
        const std::size_t slash = rest.find('/');
        node.key() =
            group + std::to_string(countOf(rest.substr(0, slash)) - 1) + rest.substr(slash);
        records.insert(std::move(node));
    }
    properties.merge(records);
}

/// Makes records of arrays, as `Records` reads them. An empty array stays as it is: a group without
/// a record.
void makeRecords(Properties &properties) {
    const std::string end = "/size";
    std::vector<std::string> groups;
    for (const auto &[name, value] : properties)
        if (name.size() > end.size() && name.substr(name.size() - end.size()) == end)
            groups.push_back(name.substr(0, name.size() - end.size() + 1));
    // An array within an element of another one has the longer name.
    std::stable_sort(groups.begin(), groups.end(), [](const auto &left, const auto &right) {
        return left.size() > right.size();
    });
    for (const std::string &group : groups)
        if (const std::size_t size = countOf(properties.at(group + "size"));
            size > 0 && isArray(properties, group, size))
            makeRecords(properties, group);
}

/// A text as QSettings reads it. QSettings keeps what it has read until the process ends, so the
/// destructor has it read an empty file.
class IniFile {
public:
    explicit IniFile(const std::string &text) {
        if (!_file.open() || _file.write(text.data(), qint64(text.size())) != qint64(text.size()) ||
            !_file.flush())
            throw Exception("no temporary file: " + _file.errorString().toStdString());
        settings = std::make_unique<QSettings>(_file.fileName(), QSettings::IniFormat);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        settings->setIniCodec("UTF-8");
#endif
    }
    IniFile(const IniFile &) = delete;
    IniFile &operator=(const IniFile &) = delete;
    ~IniFile() {
        _file.resize(0);
        settings->sync();
    }

    bool isGood() const {
        settings->allKeys(); // reads all groups
        return settings->status() == QSettings::NoError;
    }

    std::unique_ptr<QSettings> settings;

private:
    QTemporaryFile _file;
};

Properties propertiesOf(const QSettings &file, Settings &settings) {
    Properties properties;
    for (const QString &key : file.allKeys()) {
        const std::string name = key.toStdString();
        try {
            if (const std::string why = settings.objection(Storage<QString>::store(key));
                !why.empty())
                throw Exception(why);
            properties.emplace(name, convert(file.value(key), settings));
        } catch (const Exception &error) {
            settings.refuse(name, error.what());
        }
    }
    return properties;
}

void import(const std::string &text, Settings &settings) {
    const IniFile file(text);
    if (!file.isGood())
        failAt(firstBadLine(text, [](const std::string &front) { return IniFile(front).isGood(); }),
               "not a line of an INI file");
    Properties properties = propertiesOf(*file.settings, settings);
    makeRecords(properties);
    for (auto &[name, value] : properties)
        settings.add(name, std::move(value));
}

} // namespace

/// Qt reads a value that is a list of lists by recursion, without a limit. A level of it takes at
/// least 14 bytes of the text and less than 840 bytes of the stack.
void importQSettings(const std::string &text, Settings &settings) {
    constexpr std::size_t maxSize = 16 << 20;
    if (text.size() > maxSize)
        throw Exception("an INI file of more than 16 MiB");
    std::exception_ptr failure;
    // Qt warns of values that are refused.
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const std::unique_ptr<QThread> reader(QThread::create([&] {
        try {
            import(text, settings);
        } catch (const std::bad_alloc &) { // Qt trusts the sizes in a value
            failure = std::make_exception_ptr(Exception("a value is larger than the memory"));
        } catch (...) {
            failure = std::current_exception();
        }
    }));
    reader->setStackSize(static_cast<uint>((8 << 20) + 64 * text.size()));
    reader->start();
    reader->wait();
    qInstallMessageHandler(handler);
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace registerctl
