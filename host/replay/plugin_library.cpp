// SPDX-License-Identifier: Apache-2.0
#include "host/replay/plugin_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace ZYRA::Host {

namespace {

constexpr char PLUGIN_FILE[] = "libio_sched_plugin.z.so";

std::string LoaderError() {
    const char* error = dlerror();
    return error == nullptr ? "unknown error of the dynamic loader" : error;
}

}  // namespace

std::unique_ptr<PluginLibrary> PluginLibrary::Open(const std::string& path, std::string& error) {
    // A path without a slash would be searched for in the system's folders.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        error = LoaderError();
        return nullptr;
    }
    std::unique_ptr<PluginLibrary> library(new PluginLibrary(handle));
    const bool isComplete = library->Find("OnPluginInit", library->init_, error) &&
                            library->Find("OnPluginDisable", library->disable_, error) &&
                            library->Find("OnDispatchResource", library->dispatch_, error) &&
                            library->Find("OnDump", library->dump_, error);
    return isComplete ? std::move(library) : nullptr;
}

std::string PluginLibrary::DefaultPath() {
    std::error_code ignored;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    const auto beside = folder / PLUGIN_FILE;
    const auto installed = (folder / IOSCHED_BIN_TO_LIB / PLUGIN_FILE).lexically_normal();
    const bool isInstalled = !std::filesystem::exists(beside, ignored) && std::filesystem::exists(installed, ignored);
    return (isInstalled ? installed : beside).string();
}

PluginLibrary::~PluginLibrary() {
    dlclose(handle_);
}

template <typename Export>
bool PluginLibrary::Find(const char* name, Export& found, std::string& error) const {
    found = reinterpret_cast<Export>(dlsym(handle_, name));
    if (found == nullptr) {
        error = LoaderError();
    }
    return found != nullptr;
}

bool PluginLibrary::Init() const noexcept {
    std::string name = PLUGIN_FILE;
    return init_(name);
}

void PluginLibrary::Disable() const noexcept {
    disable_();
}

void PluginLibrary::Dispatch(const std::shared_ptr<ResourceSchedule::ResData>& data) const noexcept {
    dispatch_(data);
}

std::string PluginLibrary::Dump(const std::vector<std::string>& args) const noexcept {
    std::string result;
    dump_(args, result);
    return result;
}

}  // namespace ZYRA::Host
