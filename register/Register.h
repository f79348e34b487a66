#pragma once

#include "exception/Exception.h"
#include "exception/Export.h"
#include "filesystem/RAMFileSystem.h"
#include "register/PropertyValue.h"

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
class ScopeFile;
enum class SaveKind;
struct SaveResult;

/// The scopes of a property. `_Register` says in which order a read looks in them.
enum RegisterScope : std::int32_t {
    GlobalScope = 0, ///< one file for all users of an installation; read at start, never written
    UserScope = 1,   ///< the user's own file; read at start, written at start-up and at exit
    TempScope = 2    ///< in memory; lost when the process ends
};

/// The order in which a read searches the scopes.
inline constexpr RegisterScope lookupOrder[] = {UserScope, GlobalScope, TempScope};

/// The type of a stored value. The number is the first byte of the stored bytes.
enum Type : std::int32_t {
    StringType = 'S',  ///< bytes, by convention UTF-8
    NumberType = 'N',  ///< IEEE 754 binary64
    IntegerType = 'I', ///< 32 bits, signed
    BooleanType = 'B',
    ListType = 'L' ///< a list of values of one of the types above
};

/// Thrown when no scope holds the name. Its base is private, so catch it by this type.
class REGISTER_EXPORT PropertyNotFound : private Exception {
public:
    ~PropertyNotFound() override {}
};

/// Thrown when the name does not hold the type asked for. It holds a value of another type, no
/// value yet, a damaged value, or a group. Its base is private, so catch it by this type.
class REGISTER_EXPORT PropertyBadType : private Exception {
public:
    ~PropertyBadType() override {}
};

/// A register file cannot be read or written, is damaged or is of a newer version. The message
/// names the file. The file is unchanged, except that a save may have failed only at its end; see
/// `docs/durability.md`.
class REGISTER_EXPORT RegisterFileError : public Exception {
public:
    /// `message` is what `what` returns.
    RegisterFileError(const std::string &message, std::string path,
                      std::optional<RegisterScope> scope, std::string reason);
    ~RegisterFileError() override;

    /// The path of the file.
    const std::string &path() const { return _path; }
    /// The scope of the file in the register; none for a `RegisterFile`.
    std::optional<RegisterScope> scope() const { return _scope; }
    /// Why: what the system reports ("Permission denied"), or what is wrong with the content.
    const std::string &reason() const { return _reason; }

private:
    std::string _path;
    std::optional<RegisterScope> _scope;
    std::string _reason;
};

/// What `_Register::initializeOrRecover` found and did.
struct Recovery {
    std::optional<RegisterFileError> globalError; ///< why the global file was skipped
    std::optional<RegisterFileError> userError;   ///< why the user file could not be used
    std::string damagedFile;       ///< the new name of that user file; empty if it kept its own
    bool previousRestored = false; ///< the previous generation is the user file now
};

/// What a save does with changes that other processes have made in the user file.
enum SaveMode : std::int32_t {
    ReplaceFile = 0,  ///< overwrites them; the file gets what this process holds
    MergeIntoFile = 1 ///< keeps them; only names that this process has changed are written
};

/// What `_Register::sync` or `RegisterFile::save` found. Names without a scope, in normal spelling;
/// a group only where nothing is in it.
struct SyncResult {
    std::set<std::string> taken; ///< others have changed these; the new values are here now
    /// Both sides have changed these differently. The values of this process stay, and are written.
    /// For a property on one side that is a group on the other, the name of that.
    std::set<std::string> conflicts;
};

/// The register: the settings of an application. It is one tree of groups (directories) and
/// properties (files) below the roots "/global/", "/user/" and "/temp/". A process has one
/// register.
///
/// Names: a name consists of levels separated by "/", in UTF-8 ("ui/window/width"). The empty name
/// is a scope's root. Empty levels are skipped. A name must not contain bytes that are not UTF-8,
/// U+FFFD, a level that is "." or "..", or a level longer than 255 UTF-16 code units. With its
/// scope it has at most 512 levels and 4096 bytes. Nothing can be created or found under any other
/// name. The properties of one group hold at most 4 GiB, including their names; a larger write
/// throws `std::length_error`.
///
/// Lookup order: user, global, temp, as in `lookupOrder`. A read without a scope uses the first
/// scope that holds the name.
///
/// Threads: every operation of this class itself, except `initialize`, `load` and
/// `_locateProperty`, may be called from any thread, at any time between `initialize` and the end
/// of `main`. Each is atomic with respect to the others. They share one recursive lock, which also
/// guards the callbacks. The file-system operations inherited from `RAMFileSystem` take no lock:
/// hold `*_mutex` around them when other threads use the register.
///
/// Callbacks: a callback runs inside the write that it reports, on the writer's thread and under
/// the register's lock. It may read, write, add callbacks and remove callbacks. It must not wait
/// for another thread that uses the register.
///
/// Errors: a call that throws has changed nothing. This does not hold for `initialize` and `load`,
/// nor for a write whose callback throws: its value is stored. Any call may throw `std::bad_alloc`.
/// A scope other than the three makes a call throw `utils::Exception` "Bad scope value.".
class REGISTER_EXPORT _Register : public filesystem::RAMFileSystem {
public:
    /// Receives notifications of changes. Derive from it and register it with `addCallback`.
    class REGISTER_EXPORT Callback {
    public:
        virtual ~Callback();
        /// Reports that `name` changed in some scope. `name` is spelt as the writer gave it. An
        /// exception that this throws propagates to the writer; see `notify`.
        virtual void propertyChanged(const std::string &name) = 0;
        /// Returns the party that this callback belongs to. Changes that this party makes, as their
        /// `sender`, do not notify the callback.
        virtual void *owner() = 0;
    };

    /// The name of both register files, "Brevolant.dat".
    static std::string _BV_REGISTER_NAME;
    /// The lock of the register, a type of `<boost/thread/recursive_mutex.hpp>`. Never destroyed.
    static boost::recursive_mutex *_mutex;
    /// The root of the temp scope, "/temp/".
    static std::string _TempRegisterPath;
    /// The global data directory; empty until `initialize`.
    static std::string _GlobalRegisterPath;
    /// The user data directory; empty until `initialize`.
    static std::string _UserRegisterPath;
    /// True when `load` reads the global register file; false until `initialize`.
    static bool _haveGlobalRegister;

    /// Starts the register with its two data directories, in UTF-8. It loads both register files,
    /// publishes the directories as the temp properties "UserDataPath" and "GlobalDataPath", and
    /// saves the user scope. The save creates the user directory and file if they are missing. Call
    /// this once, before any other call, and before other threads use the register. Pass absolute
    /// paths: a relative path follows the working directory.
    ///
    /// The register loads only once. A second call, or a first call after `getInstance`, changes
    /// the directories, loads nothing, and replaces the user file in the new directory, which stays
    /// as the previous generation.
    ///
    /// Throws `utils::Exception` "User register not found"; and `RegisterFileError`: "Can't open "
    /// and the file, for a file that exists, or may exist, but cannot be read; a description of the
    /// fault, for a file that is damaged or of a newer version. The register then does not exist,
    /// the file is unchanged, and a later call tries again.
    static void initialize(const std::string &globalPath, const std::string &userPath);
    /// Like `initialize`, but continues where that throws `RegisterFileError`, and returns what it
    /// found and did. A global file that cannot be used is skipped. A user file that cannot be used
    /// is renamed to "Brevolant.dat.damaged", with a number where that name is taken. The previous
    /// generation, "Brevolant.dat.previous", becomes the user file if it is intact; otherwise the
    /// user scope is empty. A user file without content counts as damaged if the previous
    /// generation is intact. If the user file cannot be renamed, or cannot be read for a reason
    /// that may pass, the user scope is empty and the saves of this process fail. Nothing is
    /// deleted. Once the register exists, this does what `initialize` does.
    static Recovery initializeOrRecover(const std::string &globalPath, const std::string &userPath);

    /// Returns the register. The first call constructs it and loads its files. If that fails, this
    /// throws what `initialize` throws for the files, and the next call tries again.
    ///
    /// When the process exits, or the library is unloaded, the user scope is saved and the
    /// callbacks are removed. Threads that still run at exit may use the register, but it does not
    /// save or load again. A process that did not construct the register, such as a forked child,
    /// does not save at its exit.
    static _Register &getInstance();

    /// Reads the register files into the tree, replacing what the global and the user scope hold.
    /// Changes that were not saved are lost. The constructor calls this; no other call is needed.
    void load();
    /// Writes the user scope to its file, which is replaced as a whole; `docs/durability.md` says
    /// what is promised. In the mode `MergeIntoFile`, keeps what other processes have changed
    /// there, and writes nothing when the file needs no change. Does not throw: `saveError` reports
    /// a failure, and the handler is called. The lock is held only while the scope is encoded.
    /// Therefore no other thread waits for the disk, unless a callback saves. Saves on several
    /// threads wait for each other, and none overwrites a newer one.
    void save() const;
    /// Merges the register files and the register: reads what other processes have changed in the
    /// files since this process last read or wrote them, takes it over, and saves the user scope.
    /// Compares values, so only names whose values differ count as changed. The global file is only
    /// read. What this process has changed in the global scope stays.
    ///
    /// Once everything is in place, notifies the callbacks of the names taken, except those whose
    /// owner is `sender`. Throws what a callback throws; the names then stay marked, as in
    /// `notify`.
    ///
    /// Does not throw for a file that cannot be read or written: `saveError` reports it, and the
    /// handler is called. A user file that is damaged, of a newer version, empty or gone is not
    /// replaced, and the register stays as it is; `save` creates one that is empty or gone anew. If
    /// only the save fails, the changes of others are taken nevertheless.
    ///
    /// Waits for other processes for at most five seconds. Other threads can use the register while
    /// this waits for the disk or another process, unless a callback calls it.
    SyncResult sync(void *sender);
    /// Sets what all further saves do, including those at start-up and at exit. The default is
    /// `ReplaceFile`. May be called before `initialize`. `sync` merges in both modes. In the mode
    /// `MergeIntoFile`, a save puts the changes of this process into the file and keeps those of
    /// others there; the next `sync` brings them into the register. In the mode `ReplaceFile`,
    /// other programs can find out that this process will overwrite the file; see
    /// `RegisterFile::willBeOverwritten`. Throws `utils::Exception` "Bad save mode.".
    static void setSaveMode(SaveMode mode);
    /// Returns the error of the newest save or `sync`, including the saves of `initialize`: the
    /// file, the operation that failed and the system's message, or that the scope is larger than
    /// 256 MiB. Empty when that save reached the disk.
    std::string saveError() const;
    /// Returns why the newest save went on without the lock that keeps other processes from saving
    /// at the same time. Empty when it held the lock. On a file system without locks, a merge can
    /// lose what another process saves in the same moment.
    std::string lockError() const;
    /// Sets the function that each failed save calls with the error, on its own thread. This
    /// includes the saves of `initialize`, so set the function before that, and the last save, at
    /// exit. An empty function removes it. It runs without any lock of the register, unless a
    /// callback saved. Exceptions that it throws are dropped. It may save; if that save fails too,
    /// the function is not called again. It must not end its thread.
    static void setSaveErrorHandler(std::function<void(const std::string &)> handler);

    /// Returns the scope's root followed by the name, unchanged.
    std::string _nameToPath(const std::string &name, RegisterScope scope) const;
    /// Returns the name that a path denotes in its scope. Throws `utils::Exception` "Bad scope
    /// value." for a path that begins with none of the three roots.
    std::string _pathToName(const std::string &path) const;
    /// Returns the path of a name in the first scope, in lookup order, that holds it as a property
    /// or as a group. Throws `PropertyNotFound`. Takes no lock: hold `*_mutex` when other threads
    /// use the register.
    std::string _locateProperty(const std::string &name) const;

    /// Creates a group and the missing groups above it. Does nothing when the name exists or cannot
    /// be created.
    void addGroup(const std::string &name, RegisterScope scope);
    /// Creates a property without a value, and the missing groups above it. Does nothing when the
    /// name exists or cannot be created.
    void addProperty(const std::string &name, RegisterScope scope);
    /// Removes a property, or a group and everything in it. Does nothing when the name does not
    /// exist or denotes the scope's root. Does not notify the callbacks; see `markAsChanged`.
    void delProperty(const std::string &name, RegisterScope scope);
    /// True when the name is a group in the scope.
    bool groupExists(const std::string &name, RegisterScope scope) const;
    /// True when the name is a group in any scope.
    bool groupExists(const std::string &name) const;
    /// True when the name is a property or a group in the scope.
    bool propertyExists(const std::string &name, RegisterScope scope) const;
    /// True when the name is a property or a group in any scope.
    bool propertyExists(const std::string &name) const;

    /// Returns the members of a group in one scope: properties and groups, each by its own
    /// one-level name. Throws `utils::Exception`, the name and " does not exist or is not a
    /// group.".
    std::set<filesystem::DirEntry> propertyList(const std::string &name, RegisterScope scope) const;

    /// Opens a property's bytes in one scope; see `filesystem::FileHandle`. The group must exist in
    /// some scope; it is not created. The caller owns the handle until `closeProperty`, and
    /// notifies the callbacks with `markAsChanged`. The register holds no lock between the two
    /// calls, and the handle's own operations need none.
    ///
    /// Throws `utils::Exception`: "Group ", the group and " does not exist !"; "Cannot open
    /// property named ", the name and " !", when the tree opens nothing in that mode.
    filesystem::FileHandle &openProperty(const std::string &name, FileSystemMode mode,
                                         RegisterScope scope);
    /// Closes a handle of `openProperty`. Call it once per handle. What was written through the
    /// handle becomes the property's content, unless the property has been removed in the meantime.
    void closeProperty(filesystem::FileHandle &handle);

    ///@{
    /// Uses the first scope, in lookup order, that holds the name. Throws `PropertyNotFound` when
    /// no scope holds the name, and `PropertyBadType` when that scope holds no value of the
    /// requested type; for a group, `_readString` throws the former, all others the latter. `value`
    /// is then unchanged. The read of a list replaces the content of `values`.
    void _readString(const std::string &name, std::string &value) const;
    void _readNumber(const std::string &name, double &value) const;
    void _readInteger(const std::string &name, int &value) const;
    void _readBoolean(const std::string &name, bool &value) const;
    void _readStrings(const std::string &name, std::vector<std::string> &values) const;
    void _readNumbers(const std::string &name, std::vector<double> &values) const;
    void _readIntegers(const std::string &name, std::vector<int> &values) const;
    void _readBooleans(const std::string &name, std::vector<bool> &values) const;
    ///@}

    ///@{
    /// Searches the scopes in lookup order, or only `scope`, for a property of that name with a
    /// complete value of that type. Returns the first scope that holds one. If none does, returns
    /// no scope and leaves `value` unchanged. Unlike the reads above, skips groups and values of
    /// other types, and does not throw for a missing value.
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
    ///@}

    /// Returns the property of any type in the first scope, in lookup order, that holds one of that
    /// name, or in `scope` alone. Skips groups. Throws `PropertyBadType` for a damaged value.
    PropertyValue readAny(const std::string &name, std::optional<RegisterScope> scope = {}) const;

    /// Returns the type of the value that a read of the name finds. For a list, stores the type of
    /// the elements in `elementType`, unless that is null. The type of a property without a value
    /// is 0. Throws `PropertyNotFound`, and `PropertyBadType` for a group.
    Type readPropertyType(const std::string &name, Type *elementType) const;

    ///@{
    /// Replaces what the name holds in the scope, whatever its type, and creates the property and
    /// the groups above it if they are missing. Then notifies the callbacks, even when the value is
    /// equal, except those whose owner is `sender`. Throws `utils::Exception`, the name and " no
    /// such property.", when the name is a group, when a level above it is a property, or when the
    /// name is not allowed; the message of `_writeString` is the path and " no such property".
    /// Throws `std::length_error` for a string of more than 2^31 - 1 bytes and for a list of more
    /// than 2^31 - 1 elements.
    void _writeString(void *sender, const std::string &name, const std::string &value,
                      RegisterScope scope);
    void _writeNumber(void *sender, const std::string &name, const double &value,
                      RegisterScope scope);
    void _writeInteger(void *sender, const std::string &name, const int &value,
                       RegisterScope scope);
    void _writeBoolean(void *sender, const std::string &name, const bool &value,
                       RegisterScope scope);
    void _writeStrings(void *sender, const std::string &name,
                       const std::vector<std::string> &values, RegisterScope scope);
    void _writeNumbers(void *sender, const std::string &name, const std::vector<double> &values,
                       RegisterScope scope);
    void _writeIntegers(void *sender, const std::string &name, const std::vector<int> &values,
                        RegisterScope scope);
    void _writeBooleans(void *sender, const std::string &name, const std::vector<bool> &values,
                        RegisterScope scope);
    ///@}

    /// Removes a property from the scope and notifies the callbacks, as a write does. A read then
    /// finds the value of another scope, if there is one. Does nothing when the name is not a
    /// property in the scope.
    void resetProperty(void *sender, const std::string &name, RegisterScope scope);

    /// Removes a group and everything in it, or a property. Then notifies the callbacks once for
    /// each property that was removed, and each group in which nothing was, in normal spelling
    /// ("ui/width"), after all of them are gone.
    /// The empty name removes everything in the scope. Does nothing when the name does not exist.
    void removeGroup(void *sender, const std::string &name, RegisterScope scope);

    /// Registers a callback under a key: the name of a property, or the name of a group, which
    /// covers all names in it. Keys and names are compared byte for byte, as the writers spell the
    /// names: "ui" covers "ui/width" but not "/ui/width". The empty key covers nothing. A key may
    /// have several callbacks; they are called in the order of registration. Adding the same pair
    /// again has no effect. The caller owns the callback and keeps it alive until it is removed.
    ///
    /// A callback may call this. The notification in progress then calls the new callback for the
    /// names and keys that it has not reached yet.
    void addCallback(const std::string &key, Callback *callback);
    /// Registers a callback for all names. It is called after the callbacks with keys. Otherwise
    /// the same rules hold.
    void addCallbackForAll(Callback *callback);
    /// Removes the callback from all its keys. It is not called again, not even by a notification
    /// in progress, so it may be destroyed when this returns.
    void removeCallback(Callback *callback);

    /// Calls `change`, whose changes of the register are one step: it holds the lock, and the
    /// callbacks are notified in one walk when it has returned, except those whose owner is
    /// `sender`; the senders of its own calls do not count. If it throws, its changes stay, and
    /// their names stay marked, as in `notify`. May be nested: the outermost notifies.
    void changeInOneStep(void *sender, const std::function<void()> &change);

    /// Marks a name as changed and notifies the callbacks. The name need not exist.
    void markAsChanged(void *sender, const std::string &name);
    /// Notifies the callbacks of every marked name, in the byte order of the names. The most
    /// specific key comes first: for "a/b" the callbacks under "a/b", then those under "a"; for
    /// "/a" those under "/a", then those under "/". Those for all names come last. Callbacks whose
    /// owner is `sender` are skipped.
    ///
    /// If a callback throws, the notification ends. All its names stay marked, and the next
    /// notification reports them again. If a callback writes, the callbacks are notified of that
    /// change at once, inside the notification in progress.
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
    SaveResult trySave(SaveKind kind, std::set<std::string> &conflicts) const noexcept;
    std::string refreshGlobal() const;
    bool take(void *sender, bool mayWait, SyncResult &result);

    // Guarded by `*_mutex`, like the tree.
    std::set<std::string> _changedProperties;
    std::unique_ptr<Callbacks> _callbacks;
    int _steps = 0; ///< nested calls of `changeInOneStep`, during which nobody is notified
    std::unique_ptr<ScopeFile> _globalFile, _userFile; ///< have their own locks
};

/// Holds the register's lock while it exists, so that several operations are one step for other
/// threads: `{ RegisterLock lock; size.set(size.value() + 1); }`. The rules for callbacks apply
/// meanwhile: do not wait for a thread that uses the register. May be nested.
class REGISTER_EXPORT RegisterLock {
public:
    RegisterLock();
    ~RegisterLock();
    RegisterLock(const RegisterLock &) = delete;
    RegisterLock &operator=(const RegisterLock &) = delete;
};

/// Returns true when a register file can be kept in the directory: the file exists there, or the
/// directory part of its name is empty, exists there or has just been created. Does not test `dir`
/// itself.
REGISTER_EXPORT bool _test_register_path(const std::string &dir, const std::string &fileName);

} // namespace utils::properties
