#include "picture.h"
#include "picture_options.h"
#include "session.h"
#include "tiles.h"

namespace nuvra::app {

namespace {

constexpr const char* kTask = "image.invert";

class InvertCommand : public Command {
public:
    void AddOptions(CLI::App& app) override { _options.AddTo(app); }

    void Run(Environment& environment) override {
        _options.Run(environment, kTask, [](const Gpu& gpu, const OpenCLTaskRef& task, const Tile& tile) {
            InvertImageParameters parameters;
            parameters.source = &tile.source;
            parameters.destination = &tile.destination;
            parameters.width = tile.width;
            parameters.height = tile.height;
            gpu.Run(task, kTask, &parameters);
        });
    }

private:
    PictureOptions _options;
};

}  // namespace

CommandPtr MakeInvertCommand() {
    return std::make_unique<InvertCommand>();
}

}  // namespace nuvra::app
