#pragma once

#include "exception/Exception.h"
#include "exception/Export.h"
#include "filesystem/RAMFileSystem.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace boost {
class recursive_mutex;
}

namespace utils::properties {

class Callbacks;
class UserFile;
struct SaveResult;

/// Where a property lives. A read takes the first of user, global and temp that holds its name.
enum RegisterScope : std::int32_t {
    GlobalScope = 0, ///< one file for all users of an installation; read at start, never written
    UserScope = 1,   ///< the user's own file; read at start, written at start-up and at exit
    TempScope = 2    ///< in memory, as long as the process
};

/// The type of a stored value; the number is the first byte of the property's file.
enum Type : std::int32_t {
    StringType = 'S',  ///< bytes, by convention UTF-8
    NumberType = 'N',  ///< IEEE 754 binary64
    IntegerType = 'I', ///< 32 bits, signed
    BooleanType = 'B',
    ListType = 'L' ///< a list of values of one of the types above
};

/// No scope holds the name. Caught by its own type alone: its base is private.
class REGISTER_EXPORT PropertyNotFound : private Exception {
public:
    ~PropertyNotFound() override {}
};

/// The name holds something else than the type asked for: a value of another type, no value yet, a
/// damaged one, or a group. Caught by its own type alone: its base is private.
class REGISTER_EXPORT PropertyBadType : private Exception {
public:
    ~PropertyBadType() override {}
};

/// A register file cannot be used: it cannot be read, is damaged or of a newer version. The message
/// names the file. The file is left as it is.
class REGISTER_EXPORT RegisterFileError : public Exception {
public:
    RegisterFileError(const std::string &message, std::string path, RegisterScope scope,
                      std::string reason);
    ~RegisterFileError() override;

    const std::string &path() const { return _path; }
    RegisterScope scope() const { return _scope; }
    /// Why: what the system reports ("Permission denied"), or what is wrong with the content.
    const std::string &reason() const { return _reason; }

private:
    std::string _path;
    RegisterScope _scope;
    std::string _reason;
};

/// What `_Register::initializeOrRecover` found and did.
struct Recovery {
    std::optional<RegisterFileError> globalError; ///< why the global file was skipped
    std::optional<RegisterFileError> userError;   ///< why the user file could not be used
    std::string damagedFile;       ///< the new name of that user file; empty if it kept its own
    bool previousRestored = false; ///< the previous generation is the user file now
};

/// The register: the settings of an application, as one tree of groups (directories) and properties
/// (files) below the roots "/global/", "/user/" and "/temp/". One object per process.
///
/// Names: levels separated by "/", in UTF-8 ("ui/window/width"); the empty name is a scope's root.
/// A name has no bytes that are not UTF-8, no level that is "." or ".." or longer than 255 UTF-16
/// code units, and with its scope at most 512 levels and 4096 bytes. Empty levels are skipped.
/// Nothing can be created under any other name, and nothing is found there. The properties of one
/// group hold at most 4 GiB, their names included; a write beyond throws `std::length_error`.
///
/// Threads: every operation of this class itself, but `initialize`, `load` and `_locateProperty`,
/// may be called from any thread, at any time between `initialize` and the end of `main`; each is
/// one step with respect to all others. They share one recursive lock, which also guards the
/// callbacks. The file-system operations inherited from `RAMFileSystem` take no lock: hold
/// `*_mutex` around them where other threads use the register.
///
/// Callbacks run inside the write that they report, on its thread and under that lock. They may
/// read, write, add and remove callbacks; they must not wait for another thread that uses the
/// register.
///
/// Errors: a call that throws has changed nothing, except `initialize` and `load`, and except where
/// a callback threw; then the value is stored. Any call may throw `std::bad_alloc`. A scope other
/// than the three is refused with `utils::Exception` "Bad scope value.".
class REGISTER_EXPORT _Register : public filesystem::RAMFileSystem {
public:
    /// Is told what changed. Implement it, or derive from it, and register it with `addCallback`.
    class REGISTER_EXPORT Callback {
    public:
        virtual ~Callback();
        /// `name` has been written, in some scope. It is the name as the writer gave it. What this
        /// throws goes on to the writer; see `notify`.
        virtual void propertyChanged(const std::string &name) = 0;
        /// The party that this callback belongs to; it is not told of that party's own changes.
        virtual void *owner() = 0;
    };

    /// The name of both register files, "Brevolant.dat".
    static std::string _BV_REGISTER_NAME;
    /// The lock of the register; `<boost/thread/recursive_mutex.hpp>` declares it. Never destroyed.
    static boost::recursive_mutex *_mutex;
    /// The root of the temp scope, "/temp/".
    static std::string _TempRegisterPath;
    /// The global data directory; empty until `initialize`.
    static std::string _GlobalRegisterPath;
    /// The user data directory; empty until `initialize`.
    static std::string _UserRegisterPath;
    /// Whether the global register file is read; false until `initialize`.
    static bool _haveGlobalRegister;

    /// Starts the register with its two data directories, in UTF-8: loads both register files,
    /// publishes the directories as the temp properties "UserDataPath" and "GlobalDataPath", and
    /// saves the user scope, which creates the user directory and file where they are missing. Call
    /// it once, first, before other threads use the register. Give absolute paths: a relative one
    /// follows the working directory. The register loads once: a second call, or a first one after
    /// `getInstance`, changes the directories, loads nothing, and saves over the user file there.
    ///
    /// Throws `utils::Exception` "User register not found"; and `RegisterFileError`: "Can't open "
    /// and the file, for a file that exists, or may exist, but cannot be read; and what is wrong
    /// with a file that is damaged or of a newer version. The register does not exist then, the
    /// file is left as it is, and a later call tries again.
    static void initialize(const std::string &globalPath, const std::string &userPath);
    /// Does what `initialize` does, and goes on where that throws `RegisterFileError`: a global
    /// file that cannot be used is skipped. A user file that cannot be used gets the name
    /// "Brevolant.dat.damaged" (with a number where that is taken), and the previous generation,
    /// "Brevolant.dat.previous", takes its place if it is intact; otherwise the user scope is
    /// empty. This also holds for a user file without content, if the previous generation is
    /// intact. Where the user file cannot be renamed, the user scope is empty and saves fail.
    /// Nothing is deleted.
    static Recovery initializeOrRecover(const std::string &globalPath, const std::string &userPath);

    /// The register. The first call constructs it and loads its files; it throws what `initialize`
    /// throws for them, and the next call tries again. When the process exits, or the library is
    /// unloaded, the user scope is saved and the callbacks are removed. Threads that still run at
    /// exit may use the register, which no longer loads or saves. A process that did not construct
    /// the register, such as a forked child, does not save at its exit.
    static _Register &getInstance();

    /// Reads the register files into the tree, replacing what the global and the user scope hold;
    /// changes that were not saved are lost. The constructor does this; nobody else need.
    void load();
    /// Writes the user scope to its file, as a whole; `docs/durability.md` says what is promised.
    /// Does not throw: `saveError` reports a failure, and the handler is called. The lock is held
    /// only while the scope is encoded, so nobody else waits for the disk, unless a callback saves.
    /// Saves on several threads wait for each other, and none overwrites a newer one.
    void save() const;
    /// Why the newest save, also that of `initialize`, did not reach the disk: the file, what was
    /// being done and what the system said, or that the scope is larger than 256 MiB. Empty after
    /// one that did.
    std::string saveError() const;
    /// Sets the function that is called with the message after each save that failed, on the thread
    /// that saved: those of `initialize` (so set it before) and the last one, at exit, included.
    /// An empty function ends this. It runs without any lock of the register, unless a callback
    /// saved. What it throws is dropped. A save from inside it that fails does not call it again.
    static void setSaveErrorHandler(std::function<void(const std::string &)> handler);

    /// The path of a name in a scope: the scope's root and the name, unchanged.
    std::string _nameToPath(const std::string &name, RegisterScope scope) const;
    /// The name that a path of any scope stands for. `utils::Exception` "Bad scope value." for a
    /// path that begins with none of the three roots.
    std::string _pathToName(const std::string &path) const;
    /// The path of a name in the first scope that holds it, as a property or as a group. Throws
    /// `PropertyNotFound`. Takes no lock: hold `*_mutex` where other threads use the register.
    std::string _locateProperty(const std::string &name) const;

    /// Creates a group and the missing groups above it. Nothing happens when the name exists or
    /// cannot be created.
    void addGroup(const std::string &name, RegisterScope scope);
    /// Creates a property without a value, and the missing groups above it. Nothing happens when
    /// the name exists or cannot be created.
    void addProperty(const std::string &name, RegisterScope scope);
    /// Removes a property, or a group with all that is in it. Nothing happens when the name does
    /// not exist or denotes the scope's root. Callbacks are not told; see `markAsChanged`.
    void delProperty(const std::string &name, RegisterScope scope);
    /// True when the name is a group in the scope.
    bool groupExists(const std::string &name, RegisterScope scope) const;
    /// True when the name is a group in any scope.
    bool groupExists(const std::string &name) const;
    /// True when the name is a property or a group in the scope.
    bool propertyExists(const std::string &name, RegisterScope scope) const;
    /// True when the name is a property or a group in any scope.
    bool propertyExists(const std::string &name) const;

    /// The members of a group in one scope, properties and groups, each by its own one-level name.
    /// Throws `utils::Exception`, the name and " does not exist or is not a group."
    std::set<filesystem::DirEntry> propertyList(const std::string &name, RegisterScope scope) const;

    /// Opens a property's bytes in one scope; `filesystem/FileSystem.h` says what handles are. The
    /// group must exist in some scope; it is not created. The caller owns the handle until
    /// `closeProperty`, and tells the callbacks with `markAsChanged`. Between the two the register
    /// holds no lock; the handle's own operations need none.
    ///
    /// Throws `utils::Exception`: "Group ", the group and " does not exist !"; "Cannot open
    /// property named ", the name and " !", where the tree opens nothing in that mode.
    filesystem::FileHandle &openProperty(const std::string &name, FileSystemMode mode,
                                         RegisterScope scope);
    /// Ends a handle of `openProperty`, once. What was written through it is the property's content
    /// from here on, unless the property has been removed meanwhile.
    void closeProperty(filesystem::FileHandle &handle);

    // Reads. They look in the user, then the global, then the temp scope, and take what has the
    // name there first. They throw `PropertyNotFound` when no scope holds the name, and
    // `PropertyBadType` when it is not of the type asked for; `value` is untouched then.

    /// Throws `PropertyNotFound` also for a group.
    void _readString(const std::string &name, std::string &value) const;
    void _readNumber(const std::string &name, double &value) const;
    void _readInteger(const std::string &name, int &value) const;
    void _readBoolean(const std::string &name, bool &value) const;

    // Lists of one element type. The read replaces what `values` held.

    void _readStrings(const std::string &name, std::vector<std::string> &values) const;
    void _readNumbers(const std::string &name, std::vector<double> &values) const;
    void _readIntegers(const std::string &name, std::vector<int> &values) const;
    void _readBooleans(const std::string &name, std::vector<bool> &values) const;

    // Reads that throw nothing for what is not there. They look in the user, the global and the
    // temp scope, in that order, or in `scope` alone, and return the first scope that holds a
    // property of that name with a whole value of that type. Where none does, `value` is untouched.
    // Unlike the reads above they pass over groups and values of other types.

    std::optional<RegisterScope> findValue(const std::string &name, std::string &value,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, double &value,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, int &value,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, bool &value,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name,
                                           std::vector<std::string> &values,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, std::vector<double> &values,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, std::vector<int> &values,
                                           std::optional<RegisterScope> scope = {}) const;
    std::optional<RegisterScope> findValue(const std::string &name, std::vector<bool> &values,
                                           std::optional<RegisterScope> scope = {}) const;

    /// The type of the value that a read of the name finds; for a list, the type of its elements
    /// goes into `elementType`, unless that is null. A property without a value has the type 0.
    /// Throws `PropertyNotFound`, and `PropertyBadType` for a group.
    Type readPropertyType(const std::string &name, Type *elementType) const;

    // Writes. They replace what the name holds in the scope, whatever its type, create the property
    // and the groups above it where they are missing, and then tell the callbacks, equal value or
    // not, except those whose owner is `sender`. They throw `utils::Exception`, the name and " no
    // such property.", where the name is a group, a property is in its way or it is not allowed.

    /// Its message is the path and " no such property". Throws `std::length_error` for a value of
    /// more than 2^31 - 1 bytes.
    void _writeString(void *sender, const std::string &name, const std::string &value,
                      RegisterScope scope);
    void _writeNumber(void *sender, const std::string &name, const double &value,
                      RegisterScope scope);
    void _writeInteger(void *sender, const std::string &name, const int &value,
                       RegisterScope scope);
    void _writeBoolean(void *sender, const std::string &name, const bool &value,
                       RegisterScope scope);

    // Lists. Throw `std::length_error` for more than 2^31 - 1 elements.

    void _writeStrings(void *sender, const std::string &name,
                       const std::vector<std::string> &values, RegisterScope scope);
    void _writeNumbers(void *sender, const std::string &name, const std::vector<double> &values,
                       RegisterScope scope);
    void _writeIntegers(void *sender, const std::string &name, const std::vector<int> &values,
                        RegisterScope scope);
    void _writeBooleans(void *sender, const std::string &name, const std::vector<bool> &values,
                        RegisterScope scope);

    /// Removes a property from the scope and tells the callbacks, as a write does, so that what
    /// lies below shows through. Nothing happens when the name is not a property there.
    void resetProperty(void *sender, const std::string &name, RegisterScope scope);

    /// Registers a callback under a key: the name of a property or of a group, for all names in it.
    /// Keys are compared with the names as the writers give them, byte for byte: under "ui" a write
    /// of "ui/width" is told, one of "/ui/width" is not; under the empty key nothing is told. A key
    /// may have several callbacks; they are called in the order of registration. Adding the same
    /// pair again has no effect. The callback is the caller's and must live until it is removed.
    ///
    /// From inside a callback: the walk under way calls the new one for the names and keys that it
    /// has yet to come to.
    void addCallback(const std::string &key, Callback *callback);
    /// Removes the callback from all its keys. It is not called again, also not by a walk that is
    /// under way, so it may be destroyed when this returns.
    void removeCallback(Callback *callback);

    /// Marks a name as changed, whether it exists or not, and tells the callbacks.
    void markAsChanged(void *sender, const std::string &name);
    /// Tells the callbacks every name that is marked, in the order of their bytes: for "a/b" those
    /// under "a/b", then those under "a"; for "/a" those under "/a", then those under "/".
    /// Callbacks whose owner is `sender` are passed over.
    ///
    /// A callback that throws ends the walk; all its names stay marked and are told again by the
    /// next one. A callback that writes has its own change told at once, inside the walk.
    void notify(void *sender);

private:
    friend class Change;
    friend class Lifetime;

    _Register();
    ~_Register() override;

    static void setDirectories(const std::string &globalPath, const std::string &userPath);
    static void publishDirectories();
    void loadScope(const std::string &directory, RegisterScope scope);
    SaveResult trySave() const noexcept;

    // Guarded by `*_mutex`, like the tree.
    std::set<std::string> _changedProperties;
    std::unique_ptr<Callbacks> _callbacks;
    std::unique_ptr<UserFile> _userFile; ///< has locks of its own
};

/// True when a register file can be kept in the directory: the file, or the directory part of its
/// name, exists there or has just been created. `dir` itself is not tested.
REGISTER_EXPORT bool _test_register_path(const std::string &dir, const std::string &fileName);

} // namespace utils::properties
