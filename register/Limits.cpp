#include "register/Limits.h"

#include <QLocale>

namespace utils::properties {

std::string printed(const std::string &text) {
    return '"' + text + '"';
}

std::string printed(double number) {
    return QString::number(number, 'g', QLocale::FloatingPointShortest).toStdString();
}

std::string printed(int integer) {
    return std::to_string(integer);
}

std::string printed(bool boolean) {
    return boolean ? "true" : "false";
}

} // namespace utils::properties
