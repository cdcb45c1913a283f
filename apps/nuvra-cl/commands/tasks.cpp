#include <CLI/CLI.hpp>
#include <cstdio>

#include "console/command.h"
#include "device/session.h"

namespace nuvra::app {

namespace {

class TasksCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.footer("Each line has the name under which the task is asked for, and the id of its class.");
    }

    bool UsesDevice() const override { return false; }
    bool PrintsResult() const override { return true; }
    void Run(Environment& environment) override {
        const Session session(environment);
        Table<Registry>()->Enumerate(kOpenCLTaskClasses, nullptr,
                                     [](void*, const Id& key, const RegistryEntry& entry) {
                                         std::printf("%-20s %s\n", key.GetText(), entry.valueId);
                                     });
    }
};

}  // namespace

CommandPtr MakeTasksCommand() {
    return std::make_unique<TasksCommand>();
}

}  // namespace nuvra::app
