#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "persistence/BDXCoreDataPersistenceManager.h"
#include "testing/DispatchTesting.h"

extern char** environ;

namespace bdx::testing {

// Opens the object store of the test's sandbox and waits until it is there.
inline void openStore() {
    BDXCoreDataPersistenceManager::sharedManager()->initializeCoreData();
    waitUntilIdle();
    ASSERT_TRUE(BDXCoreDataPersistenceManager::sharedManager()->hasAddedPersistentStore());
}

// Runs `arguments` (the program first) as a process of its own with this environment and `setting`
// ("NAME=value") put first, its standard output dropped; its exit status, or -1 when it did not exit.
inline int runProcess(std::vector<std::string> arguments, const std::string& setting) {
    std::vector<std::string> environment{setting};
    for (char** entry = environ; *entry; ++entry) {
        environment.emplace_back(*entry);
    }
    std::vector<char*> envp, argv;
    for (auto& entry : environment) {
        envp.push_back(entry.data());
    }
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    envp.push_back(nullptr);
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (spawned != 0 || ::waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace bdx::testing
