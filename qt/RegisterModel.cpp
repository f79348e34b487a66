#include "qt/RegisterModel.h"

#include "qt/ValueVariant.h"

#include <QElapsedTimer>

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace utils::properties {

namespace {

constexpr int turn = 8; ///< the longest flush, in milliseconds; half a frame

/// Bytes first, then properties before groups of the same name.
bool isBefore(const std::string &a, bool aIsGroup, const std::string &b, bool bIsGroup) {
    const int order = a.compare(b);
    return order != 0 ? order < 0 : aIsGroup < bIsGroup;
}

std::string below(const std::string &group, const std::string &name) {
    return group.empty() ? name : group + "/" + name;
}

const PropertyValue nothing;

/// The values of a property in all scopes.
class ScopeValues {
public:
    PropertyValue &operator[](RegisterScope scope) { return _values[scope]; }
    const PropertyValue &operator[](RegisterScope scope) const { return _values[scope]; }
    friend bool operator!=(const ScopeValues &a, const ScopeValues &b) {
        return !std::equal(std::begin(a._values), std::end(a._values), std::begin(b._values));
    }

private:
    PropertyValue _values[3];
};

} // namespace

struct RegisterModel::Node {
    std::string name;
    Node *parent = nullptr;
    bool isGroup = false;
    std::vector<std::unique_ptr<Node>> members; ///< sorted
    ScopeValues values;                         ///< of a property

    std::string path() const {
        return parent && parent->parent ? parent->path() + "/" + name : name;
    }
    /// Where a member is, or would be inserted.
    std::size_t position(const std::string &member, bool group) const {
        const auto at = std::partition_point(
            members.begin(), members.end(), [&](const std::unique_ptr<Node> &each) {
                return isBefore(each->name, each->isGroup, member, group);
            });
        return static_cast<std::size_t>(at - members.begin());
    }
    Node *member(const std::string &wanted, bool group) const {
        const std::size_t at = position(wanted, group);
        const bool isThere =
            at < members.size() && members[at]->name == wanted && members[at]->isGroup == group;
        return isThere ? members[at].get() : nullptr;
    }
    int row() const { return static_cast<int>(parent->position(name, isGroup)); }
};

RegisterModel::RegisterModel(QObject *parent) : RegisterModel(processRegister(), parent) {}

RegisterModel::RegisterModel(std::unique_ptr<RegisterSource> source, QObject *parent)
    : QAbstractItemModel(parent), _source(std::move(source)), _scopes(_source->scopes()) {
    // Listens first: a change during the read is read again.
    _source->setListener([this](const std::string &name) {
        try {
            readAgain({name});
        } catch (const std::bad_alloc &) { // must not reach the writer; the row is then out of date
        }
    });
    reload();
}

RegisterModel::~RegisterModel() {
    _source->setListener({});
}

void RegisterModel::reload() {
    beginResetModel();
    _root = std::make_unique<Node>();
    _root->isGroup = true;
    fill(_root.get());
    endResetModel();
}

/// Builds the members of a group that the views do not know yet, and all below it.
void RegisterModel::fill(Node *group) {
    struct Found {
        std::string name;
        bool isGroup;
        RegisterScope scope;
    };
    std::vector<std::pair<Node *, std::string>> open = {{group, group->path()}};
    while (!open.empty()) {
        const auto [node, path] = std::move(open.back());
        open.pop_back();
        std::vector<Found> found;
        for (const RegisterScope scope : _scopes)
            for (RegisterSource::Member &member : _source->members(path, scope))
                found.push_back({std::move(member.name), member.isGroup, scope});
        std::sort(found.begin(), found.end(), [](const Found &a, const Found &b) {
            return isBefore(a.name, a.isGroup, b.name, b.isGroup);
        });
        for (Found &each : found) {
            Node *last = node->members.empty() ? nullptr : node->members.back().get();
            if (!last || last->name != each.name || last->isGroup != each.isGroup) {
                auto added = std::make_unique<Node>();
                added->name = std::move(each.name);
                added->parent = node;
                added->isGroup = each.isGroup;
                last = added.get();
                node->members.push_back(std::move(added));
                if (each.isGroup)
                    open.push_back({last, below(path, last->name)});
            }
            if (!each.isGroup)
                last->values[each.scope] = _source->read(below(path, last->name), each.scope);
        }
    }
}

/// Runs on the writer's thread, under the register's lock.
void RegisterModel::readAgain(std::set<std::string> names) noexcept {
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _dirty.merge(names);
    }
    _post(this, &RegisterModel::flush);
}

void RegisterModel::flush() {
    std::set<std::string> names;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        names.swap(_dirty);
    }
    QElapsedTimer time;
    time.start();
    while (!names.empty() && time.elapsed() < turn)
        update(names.extract(names.begin()).value());
    if (!names.empty())
        readAgain(std::move(names));
}

/// Compares a name with the source. Where it is a group, its members are compared later.
void RegisterModel::update(const std::string &name) {
    ScopeValues values;
    bool exists = false;
    for (const RegisterScope scope : _scopes) {
        values[scope] = _source->read(name, scope);
        exists = exists || values[scope] != nothing;
    }
    Node *property = find(name, false);
    if (exists && !property)
        property = insertPath(name, false);
    if (exists && property && property->values != values) {
        property->values = std::move(values);
        emit dataChanged(indexOf(property, NameColumn), indexOf(property, OriginColumn));
    } else if (!exists && property) {
        removeNode(property);
    }
    Node *group = find(name, true);
    if (!isGroup(name) && group)
        removeNode(group);
    else if (group)
        compareMembers(group);
    else if (isGroup(name))
        insertPath(name, true);
    updateGroupsAbove(name);
}

/// Marks the members of a group that the model or the source does not have.
void RegisterModel::compareMembers(Node *group) {
    const std::string path = group->path();
    std::set<std::string> here, there, names;
    for (const auto &member : group->members)
        here.insert(below(path, member->name));
    for (const RegisterScope scope : _scopes)
        for (const RegisterSource::Member &member : _source->members(path, scope))
            there.insert(below(path, member.name));
    std::set_symmetric_difference(here.begin(), here.end(), there.begin(), there.end(),
                                  std::inserter(names, names.end()));
    if (!names.empty())
        readAgain(std::move(names));
}

/// Inserts a name and the groups above it. Returns its node.
RegisterModel::Node *RegisterModel::insertPath(const std::string &name, bool asGroup) {
    Node *parent = _root.get();
    for (std::size_t begin = 0; begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string level = name.substr(begin, end - begin);
        const bool isLast = end == name.size();
        const bool levelIsGroup = !isLast || asGroup;
        begin = end + 1;
        Node *node = parent->member(level, levelIsGroup);
        if (!node) {
            auto added = std::make_unique<Node>();
            node = added.get();
            node->name = level;
            node->parent = parent;
            node->isGroup = levelIsGroup;
            if (isLast && asGroup)
                fill(node);
            const std::size_t at = parent->position(level, levelIsGroup);
            beginInsertRows(indexOf(parent, 0), static_cast<int>(at), static_cast<int>(at));
            parent->members.insert(parent->members.begin() + static_cast<std::ptrdiff_t>(at),
                                   std::move(added));
            endInsertRows();
        }
        parent = node;
    }
    return parent;
}

void RegisterModel::removeNode(Node *node) {
    Node *parent = node->parent;
    const int row = node->row();
    beginRemoveRows(indexOf(parent, 0), row, row);
    parent->members.erase(parent->members.begin() + row);
    endRemoveRows();
}

/// Removes the groups above a name that no scope has any more. The first one that is left may be
/// new: a property was written into it and removed again.
void RegisterModel::updateGroupsAbove(std::string name) {
    for (std::size_t end; (end = name.rfind('/')) != name.npos;) {
        name.resize(end);
        Node *group = find(name, true);
        if (isGroup(name)) {
            if (!group)
                insertPath(name, true);
            return;
        }
        if (group)
            removeNode(group);
    }
}

bool RegisterModel::isGroup(const std::string &name) const {
    return std::any_of(_scopes.begin(), _scopes.end(),
                       [&](RegisterScope scope) { return _source->isGroup(name, scope); });
}

RegisterModel::Node *RegisterModel::find(const std::string &name, bool asGroup) const {
    Node *node = _root.get();
    for (std::size_t begin = 0; node && begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        node = node->member(name.substr(begin, end - begin), end < name.size() || asGroup);
        begin = end + 1;
    }
    return node;
}

RegisterModel::Node *RegisterModel::nodeOf(const QModelIndex &index) const {
    return index.isValid() ? static_cast<Node *>(index.internalPointer()) : _root.get();
}

QModelIndex RegisterModel::indexOf(const Node *node, int column) const {
    return node->parent ? createIndex(node->row(), column, const_cast<Node *>(node))
                        : QModelIndex();
}

QModelIndex RegisterModel::indexOf(const QString &path, Column column) const {
    const std::string name = path.toStdString();
    const Node *node = find(name, false);
    if (!node)
        node = find(name, true);
    return node ? indexOf(node, column) : QModelIndex();
}

PropertyValue RegisterModel::value(const QModelIndex &index, RegisterScope scope) const {
    return nodeOf(index)->values[scope];
}

std::optional<RegisterScope> RegisterModel::origin(const QModelIndex &index) const {
    const Node *node = nodeOf(index);
    for (const RegisterScope scope : _scopes)
        if (node->values[scope] != nothing)
            return scope;
    return std::nullopt;
}

bool RegisterModel::write(const QString &path, const PropertyValue &value, RegisterScope scope) {
    const std::string name = path.toStdString();
    try {
        _source->write(name, value, scope);
    } catch (const std::exception &error) {
        emit writeFailed(QString::fromUtf8(error.what()));
        return false;
    }
    update(name);
    return true;
}

QModelIndex RegisterModel::index(int row, int column, const QModelIndex &parent) const {
    const Node *node = nodeOf(parent);
    if (row < 0 || column < 0 || column >= columns || parent.column() > 0 ||
        row >= static_cast<int>(node->members.size()))
        return {};
    return createIndex(row, column, node->members[static_cast<std::size_t>(row)].get());
}

QModelIndex RegisterModel::parent(const QModelIndex &index) const {
    return index.isValid() ? indexOf(nodeOf(index)->parent, 0) : QModelIndex();
}

int RegisterModel::rowCount(const QModelIndex &parent) const {
    return parent.column() > 0 ? 0 : static_cast<int>(nodeOf(parent)->members.size());
}

int RegisterModel::columnCount(const QModelIndex &) const {
    return columns;
}

namespace {

QString scopeText(std::optional<RegisterScope> scope) {
    if (!scope)
        return {};
    return *scope == UserScope     ? RegisterModel::tr("user")
           : *scope == GlobalScope ? RegisterModel::tr("global")
                                   : RegisterModel::tr("temp");
}

} // namespace

QVariant RegisterModel::data(const QModelIndex &index, int role) const {
    if (!index.isValid())
        return {};
    const Node *node = nodeOf(index);
    const std::optional<RegisterScope> from = origin(index);
    const PropertyValue &value = from ? node->values[*from] : nothing;
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case NameColumn:
            return QString::fromStdString(node->name);
        case TypeColumn:
            return node->isGroup ? QString() : typeText(value);
        case ValueColumn:
            return displayText(value);
        default:
            return scopeText(from);
        }
    case Qt::EditRole:
        return index.column() == ValueColumn ? toVariant(value) : data(index, Qt::DisplayRole);
    case Qt::ToolTipRole: // a name may look like rich text
        return QStringLiteral("<span>%1</span>")
            .arg(QString::fromStdString(node->path()).toHtmlEscaped());
    case PathRole:
        return QString::fromStdString(node->path());
    case IsGroupRole:
        return node->isGroup;
    case RawValueRole:
        return toVariant(value);
    case OriginRole:
        return from ? QVariant(int(*from)) : QVariant();
    case ModifiedRole:
        return from == UserScope;
    case ShadowedRole:
        return from == UserScope &&
               (node->values[GlobalScope] != nothing || node->values[TempScope] != nothing);
    case UserValueRole:
        return toVariant(node->values[UserScope]);
    case GlobalValueRole:
        return toVariant(node->values[GlobalScope]);
    case TempValueRole:
        return toVariant(node->values[TempScope]);
    case TypeRole:
        return int(value.index());
    default:
        return {};
    }
}

QVariant RegisterModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return tr("Name");
    case TypeColumn:
        return tr("Type");
    case ValueColumn:
        return tr("Value");
    case OriginColumn:
        return tr("From");
    default:
        return {};
    }
}

Qt::ItemFlags RegisterModel::flags(const QModelIndex &index) const {
    Qt::ItemFlags flags = QAbstractItemModel::flags(index);
    if (!index.isValid())
        return flags;
    const Node *node = nodeOf(index);
    if (!node->isGroup) {
        flags |= Qt::ItemNeverHasChildren;
        if (index.column() == ValueColumn && _source->isWritable(UserScope))
            flags |= Qt::ItemIsEditable;
    }
    return flags;
}

bool RegisterModel::setData(const QModelIndex &index, const QVariant &value, int role) {
    const std::optional<RegisterScope> from = origin(index);
    if (role != Qt::EditRole || index.column() != ValueColumn || !from)
        return false;
    const Node *node = nodeOf(index);
    const std::optional<PropertyValue> converted = fromVariant(value, node->values[*from]);
    if (!converted) {
        emit writeFailed(tr("\"%1\" is not a value of the type %2.")
                             .arg(value.toString(), typeText(node->values[*from])));
        return false;
    }
    return write(QString::fromStdString(node->path()), *converted);
}

} // namespace utils::properties
