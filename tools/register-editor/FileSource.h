#pragma once

#include "../registerctl/Dump.h"

#include <qt/FileWatch.h>
#include <qt/RegisterSource.h>
#include <register/RegisterFile.h>

#include <QObject>

#include <memory>
#include <optional>
#include <vector>

namespace registerEditor {

using registerctl::Content;
using utils::properties::PropertyValue;
using utils::properties::RegisterFile;
using utils::properties::RegisterScope;

/// The files of a register that is not that of this process. Each write is saved at once, merged
/// with what others have changed. Follows the files when others replace them.
class FileSource : public QObject, public utils::properties::RegisterSource {
    Q_OBJECT

public:
    /// A file and the scope that it stands for.
    struct Path {
        RegisterScope scope;
        std::string path;
        bool isForAll = false; ///< all users read the file
    };

    /// Opens the files, which need not exist. Throws `RegisterFileError`.
    explicit FileSource(const std::vector<Path> &paths);

    const std::string &path(RegisterScope scope) const;
    const RegisterFile &file(RegisterScope scope) const { return layer(scope).file; }
    /// What `replace` must restore after `to` was written: the properties of the same names, and
    /// the empty groups that become groups with members.
    Content contentBefore(const Content &to, RegisterScope scope) const;
    /// Removes what `from` has and `to` does not, and the groups that become empty, and writes what
    /// `to` has. Saves that as one step and tells the listener. Throws `std::exception`; then
    /// nothing has changed.
    void replace(const Content &from, const Content &to, RegisterScope scope);
    /// What the user should know about the file that is edited: it cannot be read now, or not be
    /// written, or does not exist yet, or a running application will overwrite it.
    QString notice(RegisterScope edited) const;

    std::vector<RegisterScope> scopes() const override;
    std::vector<Member> members(const std::string &group, RegisterScope scope) const override;
    bool isGroup(const std::string &name, RegisterScope scope) const override;
    PropertyValue read(const std::string &name, RegisterScope scope) const override;
    /// True when the file may be written, or created in its directory.
    bool isWritable(RegisterScope scope) const override;
    void write(const std::string &name, const PropertyValue &value, RegisterScope scope) override;
    void setListener(std::function<void(const std::string &)> listener) override;

signals:
    /// `notice` may have changed.
    void refreshed();

private:
    struct Layer {
        RegisterScope scope;
        RegisterFile file;
        bool isForAll;
    };

    Layer &layer(RegisterScope scope);
    const Layer &layer(RegisterScope scope) const;
    void refresh();
    void tell(const std::string &entry) const;

    std::vector<Layer> _layers; ///< in lookup order
    std::function<void(const std::string &)> _listener;
    utils::properties::FileWatch _watch;
    QString _error; ///< of the last refresh; what was read before stays
};

} // namespace registerEditor
