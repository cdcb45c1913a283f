#include "commands/picture_command.h"

namespace nuvra::app {

namespace {

constexpr const char* kInvertTask = "image.invert";

class InvertCommand : public PictureCommand {
public:
    InvertCommand() : PictureCommand(kInvertTask) {}

protected:
    void Execute(const Tile& tile) const override {
        InvertImageParameters parameters;
        parameters.source = &tile.source;
        parameters.destination = &tile.destination;
        parameters.width = tile.width;
        parameters.height = tile.height;
        tile.device.Run(tile.task, kInvertTask, &parameters);
    }
};

}  // namespace

CommandPtr MakeInvertCommand() {
    return std::make_unique<InvertCommand>();
}

}  // namespace nuvra::app
