#include <register/Property.h>

#if __has_include(<tests/Support.h>)
#error "The tests can be found."
#elif __has_include(<bench/Workload.h>)
#error "The benchmarks can be found."
#elif __has_include(<register/Saver.h>)
#error "A header that is not public can be found."
#endif

int main() {
    return utils::properties::_Register::_BV_REGISTER_NAME.empty();
}
