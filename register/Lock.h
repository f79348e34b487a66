#pragma once

#include <boost/thread/recursive_mutex.hpp>

#include <mutex>

namespace utils::properties {

/// A scoped hold of the register's lock.
using Lock = std::lock_guard<boost::recursive_mutex>;

} // namespace utils::properties
