#pragma once

#include "register/Register.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace utils::properties {

/// What is wrong in a file, and at which byte.
struct FileFault {
    std::uint64_t offset; ///< of the byte in the file, from 0
    std::string what;     ///< one sentence or more, in English
};

/// A register file that is not the register of this process: for tools, installers, tests and
/// documents. It holds the properties of one scope and is saved as safely as the register.
///
/// Names, types and errors are those of `_Register`, and so are the operations, without a scope, a
/// sender and callbacks. The limits of names are those of the user scope. Any number of objects, in
/// any number of processes, may have the same file open.
///
/// Not for several threads at once. A call that throws has changed nothing, except that `save` may
/// have taken some of the changes of others when memory runs out.
class REGISTER_EXPORT RegisterFile {
public:
    /// Opens the file at a path, in UTF-8, and reads it. A file that does not exist is new: `save`
    /// creates it. A relative path refers to the current working directory of this call. Throws
    /// `RegisterFileError` for a file that cannot be read, is damaged or of a newer version, and
    /// `utils::Exception` "A register file needs a path." for an empty path.
    explicit RegisterFile(const std::string &path);
    /// Reads all that can be read in a damaged file, and returns it as a new file for the path
    /// `to`, which is not read. Sets `faults` to what is wrong, by bytes; empty when the file is
    /// intact, and the content is then complete. After a thousand faults, the last one counts the
    /// others. The file at `path` is not changed, also not by `save`, as long as it is damaged.
    ///
    /// What lies in something unknown, and what has a name that is taken, is
    /// "lost+found/NAME@BYTE". Where only the checksum is wrong, any value may be.
    ///
    /// Throws `RegisterFileError` for a file that cannot be read, is of a newer version or is no
    /// register file; `faults` is then unchanged.
    static RegisterFile salvage(const std::string &path, const std::string &to,
                                std::vector<FileFault> &faults);
    ///@{
    /// Moves the content. After it, `other` may only be assigned to or destroyed.
    RegisterFile(RegisterFile &&other) noexcept;
    RegisterFile &operator=(RegisterFile &&other) noexcept;
    ///@}
    /// Does not save.
    ~RegisterFile();

    /// The absolute path.
    const std::string &path() const;

    /// Writes the file; see `docs/durability.md`. What others have changed in it since this object
    /// last read or wrote it is merged, as in `_Register::sync`: `taken` is in this object now, and
    /// for `conflicts` the file has the values of this object. Creates the file, and the
    /// directories of its path (mode 0700), if they are missing. Does not write when the file holds
    /// this content already. Waits for other processes for at most five seconds. Throws
    /// `RegisterFileError` when the file could not be written.
    SyncResult save();
    /// Returns why the last save went on without a lock; see `_Register::lockError`.
    std::string lockError() const;
    /// True when a running process, this one included, has the file as its user file in the mode
    /// `ReplaceFile`. At its exit at the latest, it overwrites what others have saved meanwhile.
    bool willBeOverwritten() const;

    ///@{
    /// As in `_Register`, of this file.
    void addGroup(const std::string &name);
    void addProperty(const std::string &name);
    void delProperty(const std::string &name);
    bool groupExists(const std::string &name) const;
    bool propertyExists(const std::string &name) const;
    std::set<filesystem::DirEntry> propertyList(const std::string &name) const;
    void _readString(const std::string &name, std::string &value) const;
    void _readNumber(const std::string &name, double &value) const;
    void _readInteger(const std::string &name, int &value) const;
    void _readBoolean(const std::string &name, bool &value) const;
    void _readStrings(const std::string &name, std::vector<std::string> &values) const;
    void _readNumbers(const std::string &name, std::vector<double> &values) const;
    void _readIntegers(const std::string &name, std::vector<int> &values) const;
    void _readBooleans(const std::string &name, std::vector<bool> &values) const;
    PropertyValue readAny(const std::string &name) const;
    Type readPropertyType(const std::string &name, Type *elementType) const;
    void _writeString(const std::string &name, const std::string &value);
    void _writeNumber(const std::string &name, const double &value);
    void _writeInteger(const std::string &name, const int &value);
    void _writeBoolean(const std::string &name, const bool &value);
    void _writeStrings(const std::string &name, const std::vector<std::string> &values);
    void _writeNumbers(const std::string &name, const std::vector<double> &values);
    void _writeIntegers(const std::string &name, const std::vector<int> &values);
    void _writeBooleans(const std::string &name, const std::vector<bool> &values);
    ///@}
    /// Writes a value of any type. `NoValue` leaves a property without a value, and
    /// `std::monostate` removes the property.
    void writeAny(const std::string &name, const PropertyValue &value);

    /// Returns the stored bytes of a property, as `docs/file-format.md` describes them; they need
    /// not be a value of the register's types. Throws `PropertyNotFound`, and `PropertyBadType` for
    /// a group.
    std::string readBytes(const std::string &name) const;
    /// Writes the stored bytes of a property.
    void writeBytes(const std::string &name, const std::string &bytes);

private:
    struct Content;
    explicit RegisterFile(std::unique_ptr<Content> content);
    std::unique_ptr<Content> _content;
};

} // namespace utils::properties
