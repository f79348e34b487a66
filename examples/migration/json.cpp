//! [before]
#include <nlohmann/json.hpp>

#include <fstream>

nlohmann::json loadAll() {
    std::ifstream file("settings.json");
    return file ? nlohmann::json::parse(file) : nlohmann::json::object();
}

int loadWidth() {
    return loadAll().value("/window/width"_json_pointer, 800);
}

void storeWidth(int width) {
    nlohmann::json settings = loadAll();
    settings["window"]["width"] = width;
    std::ofstream("settings.json") << settings; // a full disk or a crash here loses all settings
}
//! [before]
