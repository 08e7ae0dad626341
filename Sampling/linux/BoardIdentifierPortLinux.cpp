#include "Sampling/BoardIdentifier.h"

namespace orv {

namespace {

// Linux machines carry no power-model board identifier; the energy model
// falls through to its default file and then to the built-in weights.
class NoBoardIdentifierPort final : public BoardIdentifierPort {
public:
    std::optional<std::vector<uint8_t>> readBoardIdentifier() override { return std::nullopt; }
};

}  // namespace

std::unique_ptr<BoardIdentifierPort> makeBoardIdentifierPort() { return std::make_unique<NoBoardIdentifierPort>(); }

}  // namespace orv
