#include <cmath>

#include "picture_options.h"

namespace nuvra::app {

namespace {

constexpr const char* kTask = "image.gamma";

class GammaCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        _options.AddTo(app);
        app.add_option("--gamma", _gamma, "The power that each colour value is raised to")
            ->type_name("G")
            ->check(CLI::Number.description(""))
            ->required();
    }

    void Run(Environment& environment) override {
        if (!std::isfinite(_gamma)) throw WrongArguments("--gamma needs a finite number");
        _options.Run(environment, kTask, [this](const Gpu& gpu, const OpenCLTaskRef& task, const Tile& tile) {
            GammaImageParameters parameters;
            parameters.source = &tile.source;
            parameters.destination = &tile.destination;
            parameters.width = tile.width;
            parameters.height = tile.height;
            parameters.gamma = _gamma;
            gpu.Run(task, kTask, &parameters);
        });
    }

private:
    PictureOptions _options;
    double _gamma = 1;
};

}  // namespace

CommandPtr MakeGammaCommand() {
    return std::make_unique<GammaCommand>();
}

}  // namespace nuvra::app
