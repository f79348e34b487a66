#include "TextFile.h"

#include "Failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace registerctl {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

[[noreturn]] void fail(ExitCode code, const std::string &path) {
    throw Failure(code, (path == "-" ? "standard input" : path) + ": " + std::strerror(errno));
}

} // namespace

std::string readText(const std::string &path) {
    const File file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file)
        fail(NotReadable, path);
    std::string text;
    char buffer[65536];
    while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, file.get()))
        text.append(buffer, size);
    if (std::ferror(file.get()))
        fail(NotReadable, path);
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (std::string_view(text).substr(0, mark.size()) == mark)
        text.erase(0, mark.size());
    return text;
}

void writeText(const std::string &path, const std::string &text) {
    File file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fclose(file.release()) != 0)
        fail(NotWritten, path);
}

} // namespace registerctl
