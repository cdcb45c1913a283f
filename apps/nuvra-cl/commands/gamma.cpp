#include <CLI/CLI.hpp>
#include <cmath>

#include "commands/picture_command.h"
#include "console/failure.h"

namespace nuvra::app {

namespace {

constexpr const char* kGammaTask = "image.gamma";

class GammaCommand : public PictureCommand {
public:
    GammaCommand() : PictureCommand(kGammaTask) {}

    void AddOptions(CLI::App& app) override {
        PictureCommand::AddOptions(app);
        app.add_option("--gamma", _gamma, "The power that each colour value is raised to")
            ->type_name("G")
            ->check(CLI::Number.description(""))
            ->required();
    }

    void Run(Environment& environment) override {
        if (!std::isfinite(_gamma)) throw WrongArguments("--gamma needs a finite number");
        PictureCommand::Run(environment);
    }

protected:
    void Execute(const Tile& tile) const override {
        GammaImageParameters parameters;
        parameters.source = &tile.source;
        parameters.destination = &tile.destination;
        parameters.width = tile.width;
        parameters.height = tile.height;
        parameters.gamma = _gamma;
        tile.device.Run(tile.task, kGammaTask, &parameters);
    }

private:
    double _gamma = 1;
};

}  // namespace

CommandPtr MakeGammaCommand() {
    return std::make_unique<GammaCommand>();
}

}  // namespace nuvra::app
