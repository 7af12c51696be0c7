#include "tests/common/scripted_statvfs.h"

#include <cerrno>
#include <dlfcn.h>

namespace
{

typedef int (*Statvfs)(const char *path, struct statvfs *info);

const ScriptedStatvfs *current = nullptr;

Statvfs systemStatvfs()
{
    return reinterpret_cast<Statvfs>(::dlsym(RTLD_NEXT, "statvfs"));
}

} // namespace

ScriptedStatvfs::ScriptedStatvfs()
{
    current = this;
}

ScriptedStatvfs::~ScriptedStatvfs()
{
    current = nullptr;
}

void ScriptedStatvfs::answer(const std::string &path, unsigned long size, fsblkcnt_t blocks,
                             fsblkcnt_t free, fsblkcnt_t available)
{
    Answer answer = {};
    answer.info.f_bsize = 16 * size;
    answer.info.f_frsize = size;
    answer.info.f_blocks = blocks;
    answer.info.f_bfree = free;
    answer.info.f_bavail = available;
    m_answers[path] = answer;
}

void ScriptedStatvfs::fail(const std::string &path, int error)
{
    Answer answer = {};
    answer.error = error;
    m_answers[path] = answer;
}

bool ScriptedStatvfs::lookUp(const std::string &path, struct statvfs *info, int *error) const
{
    const auto found = m_answers.find(path);
    if (found == m_answers.end())
        return false;
    *error = found->second.error;
    if (*error == 0)
        *info = found->second.info;
    return true;
}

// Stands in front of the C library's.
extern "C" int statvfs(const char *path, struct statvfs *info)
{
    int error = 0;
    if (current == nullptr || !current->lookUp(path, info, &error))
        return systemStatvfs()(path, info);
    errno = error;
    return error == 0 ? 0 : -1;
}
