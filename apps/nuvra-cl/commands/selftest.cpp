#include <CLI/CLI.hpp>

#include "console/command.h"
#include "selftest/check.h"

namespace nuvra::app {

namespace {

class SelftestCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.footer(
            "Each task is run on data made for it and compared with a plain computation of its definition.\n"
            "Errors of pictures are relative to the sum of the magnitudes that make a value. A driver that\n"
            "is new should be asked this first.");
    }

    bool PrintsResult() const override { return true; }
    void Run(Environment& environment) override {
        Session session(environment);
        const Device device = session.OpenDevice();
        std::printf("%s\n", device.name.c_str());
        int wrong = 0;
        for (const SelfCheck& check : kSelfChecks) wrong += Check(device, check) ? 0 : 1;
        if (wrong > 0)
            throw Failure(std::to_string(wrong) + " of the tasks failed or gave wrong results on " +
                          Quote(device.name));
    }

private:
    /// Prints one task's line; false when the task is wrong or cannot be run.
    static bool Check(const Device& device, const SelfCheck& check) {
        try {
            const SelfCheckOutcome outcome = check.run(device);
            // NaN is wrong too.
            const bool isRight = outcome.error <= outcome.bound;
            std::printf("%-20s %-6s largest error %-8.2g (allowed %-6.2g) %10.1f %s\n", check.task,
                        isRight ? "ok" : "WRONG", outcome.error, outcome.bound, outcome.speed, outcome.unit);
            return isRight;
        } catch (const Failure& failure) {
            std::printf("%-20s FAILED %s\n", check.task, failure.what());
            return false;
        }
    }
};

}  // namespace

CommandPtr MakeSelftestCommand() {
    return std::make_unique<SelftestCommand>();
}

}  // namespace nuvra::app
