// Boost.PropertyTree, in its INFO format, which has levels. It does not replace files. This program
// writes the text to a second file, forces it to the disk and renames it.
#include "../Workload.h"

#include <boost/property_tree/info_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <fcntl.h>
#include <unistd.h>

namespace {

struct PropertyTree : bench::FileStore {
    using Key = boost::property_tree::path;
    static Key key(const std::string &name) { return Key(name, '/'); }
    explicit PropertyTree(const std::string &directory)
        : _directory(directory), _path(directory + "/settings.info") {
        if (::access(_path.c_str(), R_OK) == 0)
            boost::property_tree::read_info(_path, _tree);
    }

    int read(const Key &key) { return _tree.get<int>(key); }
    void write(const Key &key, int value) { _tree.put(key, value); }
    std::string readText(const Key &key) { return _tree.get<std::string>(key); }
    void writeText(const Key &key, const std::string &text) { _tree.put(key, text); }
    void save() {
        const std::string beside = _path + ".new";
        boost::property_tree::write_info(beside, _tree);
        sync(beside);
        bench::require(::rename(beside.c_str(), _path.c_str()) == 0, "rename");
        sync(_directory);
    }

private:
    static void sync(const std::string &path) {
        const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        bench::require(handle >= 0 && ::fsync(handle) == 0 && ::close(handle) == 0, "fsync");
    }
    std::string _directory, _path;
    boost::property_tree::ptree _tree;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<PropertyTree>(count, arguments);
}
