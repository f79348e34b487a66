//! [before]
#include <nlohmann/json.hpp>

#include <fstream>

int loadWidth() {
    std::ifstream file("settings.json");
    return nlohmann::json::parse(file, nullptr, false).value("/window/width"_json_pointer, 800);
}

void storeWidth(int width) {
    nlohmann::json settings;
    std::ifstream("settings.json") >> settings;
    settings["window"]["width"] = width;
    std::ofstream("settings.json") << settings; // a full disk or a crash here loses all settings
}
//! [before]

int main() {
    std::ofstream("settings.json") << "{}";
    storeWidth(5);
    return loadWidth() == 5 ? 0 : 1;
}
