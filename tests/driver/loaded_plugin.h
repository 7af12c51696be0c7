// The plug-in as a shared library whose code is called by the names that it exports.

#ifndef TESTS_DRIVER_LOADED_PLUGIN_H
#define TESTS_DRIVER_LOADED_PLUGIN_H

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>

/// Loads the plug-in and keeps it: its services have threads.
class LoadedPlugin
{
public:
    LoadedPlugin() : m_handle(::dlopen(DMC50_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE))
    {
        EXPECT_NE(nullptr, m_handle) << ::dlerror();
    }

    /// The plug-in's own definition of a name, whoever else has one.
    template <typename Function>
    Function function(const char *name) const
    {
        void *const address = ::dlsym(m_handle, name);
        EXPECT_NE(nullptr, address) << name;
        EXPECT_EQ(DMC50_PLUGIN_FILE, fileOf(address)) << name;
        return reinterpret_cast<Function>(address);
    }

    /// What a function of the plug-in without arguments returns.
    void *call(const char *name) const { return function<void *(*)()>(name)(); }

    /// The file that holds an address: the program, the plug-in or a library.
    static std::string fileOf(const void *address)
    {
        Dl_info info;
        return ::dladdr(address, &info) != 0 ? info.dli_fname : "nowhere";
    }

private:
    void *m_handle;
};

#endif // TESTS_DRIVER_LOADED_PLUGIN_H
