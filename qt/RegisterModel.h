#pragma once

#include "qt/Export.h"
#include "qt/PostOnce.h"
#include "qt/RegisterSource.h"

#include <QAbstractItemModel>

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace utils::properties {

/// The properties of a register as a tree for the views of Qt: groups with their members, sorted by
/// the bytes of their names. A name that one scope has as a group and another one as a property is
/// shown twice.
///
/// The model holds its own copy, so the views never read the register. It follows all changes: the
/// writers only leave the name, and the model reads these names again in its own thread, in turns
/// of the event loop that are bounded. Rows are inserted, removed and changed one by one, so
/// selections and expanded groups stay. A flush of many changes goes on in the next turn.
///
/// Create, use and destroy it in one thread with an event loop.
class REGISTER_QT_EXPORT RegisterModel : public QAbstractItemModel {
    Q_OBJECT

public:
    /// What the columns show.
    enum Column { NameColumn, TypeColumn, ValueColumn, OriginColumn, columns };

    /// The roles beside those of Qt; each column has them.
    enum Role {
        PathRole = Qt::UserRole, ///< the full name, a QString: "ui/window/width"
        IsGroupRole,             ///< a boolean
        /// The value that a read finds: a QString, double, int, bool, or a QVariantList of one of
        /// them; a QByteArray for bytes that are not UTF-8. Invalid for a group and for no value.
        RawValueRole,
        OriginRole,   ///< the `RegisterScope` that the value comes from, an int
        ModifiedRole, ///< true when the user scope holds the property
        ShadowedRole, ///< true when the user scope hides the value of another scope
        UserValueRole,
        GlobalValueRole,
        TempValueRole, ///< the value of each scope, or invalid
        TypeRole       ///< the index of the value in `PropertyValue`, an int
    };

    /// A model of the register of this process.
    explicit RegisterModel(QObject *parent = nullptr);
    /// A model of any source.
    explicit RegisterModel(std::unique_ptr<RegisterSource> source, QObject *parent = nullptr);
    /// Ends the notifications first.
    ~RegisterModel() override;

    /// Where it reads and writes.
    RegisterSource &source() { return *_source; }
    /// The index of a name; invalid if the model does not have it.
    QModelIndex indexOf(const QString &path, Column column = NameColumn) const;
    /// The value of a scope, as the model has it.
    PropertyValue value(const QModelIndex &index, RegisterScope scope) const;
    /// The first scope, in lookup order, that holds the property.
    std::optional<RegisterScope> origin(const QModelIndex &index) const;

    /// Writes a property into a scope, or removes it with `std::monostate`. Returns false, and
    /// emits `writeFailed`, when that fails.
    bool write(const QString &path, const PropertyValue &value, RegisterScope scope = UserScope);

    ///@{
    /// The interface of `QAbstractItemModel`.
    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    using QObject::parent;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    ///@}
    /// Writes a value into the user scope; `PropertyValue` of the type that the property has.
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

public slots:
    /// Reads everything again; for a source whose files have been replaced.
    void reload();

signals:
    /// A write was refused, or the file cannot be written.
    void writeFailed(const QString &error);

private:
    struct Node;

    void readAgain(std::set<std::string> names) noexcept;
    void flush();
    void update(const std::string &name);
    void fill(Node *group);
    void compareMembers(Node *group);
    Node *insertPath(const std::string &name, bool asGroup);
    void removeNode(Node *node);
    void updateGroupsAbove(std::string name);
    bool isGroup(const std::string &name) const;
    Node *find(const std::string &name, bool asGroup) const;
    Node *nodeOf(const QModelIndex &index) const;
    QModelIndex indexOf(const Node *node, int column) const;

    std::unique_ptr<RegisterSource> _source;
    std::vector<RegisterScope> _scopes;
    std::unique_ptr<Node> _root;

    std::mutex _mutex;            ///< taken last: nothing is called under it
    std::set<std::string> _dirty; ///< names to read again
    PostOnce _post;
};

} // namespace utils::properties
