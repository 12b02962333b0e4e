// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/plugin.h"

namespace ZYRA::Host {

// A plugin's shared library, mapped for as long as this object lives, with its four exports.
class PluginLibrary {
public:
    // On failure returns null and fills `error` with one line.
    static std::unique_ptr<PluginLibrary> Open(const std::string& path, std::string& error);

    // Where the plugin is unless the user names another: beside this executable, or in the library folder of the
    // installation that it belongs to. The first of both when there is none.
    static std::string DefaultPath();

    // REQUIRES: the plugin has been disabled, and no thread is left that could run its code.
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    // The exports; see platform/plugin.h. Init names the library to the plugin by its own file name. An exception that
    // leaves one of them ends the process, as it would on a device.
    bool Init() const noexcept;
    void Disable() const noexcept;
    void Dispatch(const std::shared_ptr<ResourceSchedule::ResData>& data) const noexcept;
    std::string Dump(const std::vector<std::string>& args) const noexcept;

private:
    using InitExport = bool (*)(std::string&);
    using DisableExport = void (*)();
    using DispatchExport = void (*)(const std::shared_ptr<ResourceSchedule::ResData>&);
    using DumpExport = void (*)(const std::vector<std::string>&, std::string&);

    explicit PluginLibrary(void* handle) : handle_(handle) {}
    template <typename Export>
    bool Find(const char* name, Export& found, std::string& error) const;

    void* const handle_;
    InitExport init_ = nullptr;
    DisableExport disable_ = nullptr;
    DispatchExport dispatch_ = nullptr;
    DumpExport dump_ = nullptr;
};

}  // namespace ZYRA::Host
