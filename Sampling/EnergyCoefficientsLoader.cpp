#include "Sampling/EnergyCoefficientsLoader.h"

#include <exception>

#include "core/PropertyList.h"

namespace orv::EnergyCoefficientsLoader {

std::vector<std::filesystem::path> candidates(const std::optional<std::string>& boardIdentifier,
                                              const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> files;
    // An empty identifier, or one that would reach outside the directory,
    // cannot name a power-model file.
    if (boardIdentifier && !boardIdentifier->empty() && boardIdentifier->find('/') == std::string::npos) {
        files.push_back(directory / (*boardIdentifier + ".plist"));
    }
    files.push_back(directory / "default.plist");
    return files;
}

std::optional<EnergyCoefficients> readFile(const std::filesystem::path& file) {
    std::optional<PropertyValue> value;
    try {
        value = PropertyList::read(file);
    } catch (const std::exception&) {
        // A directory, a failing disk or an absurd file is absence, not an
        // exception; should anything still throw (an allocation), the next
        // file is tried all the same.
        return std::nullopt;
    }
    if (!value) return std::nullopt;
    return EnergyCoefficients::fromPropertyList(*value);
}

EnergyCoefficients load(const std::optional<std::string>& boardIdentifier, const std::filesystem::path& directory) {
    for (const auto& file : candidates(boardIdentifier, directory)) {
        if (auto coefficients = readFile(file)) return *coefficients;
    }
    return EnergyCoefficients::builtIn;
}

EnergyCoefficients load(BoardIdentifierPort& port, const std::filesystem::path& directory) {
    std::optional<std::string> board;
    if (auto bytes = port.readBoardIdentifier()) board = BoardIdentifier::decode(*bytes);
    return load(board, directory);
}

const EnergyCoefficients& shared() {
    // A function-local static is initialised once, under the runtime's
    // one-time guard, even when several threads ask first at once.
    static const EnergyCoefficients coefficients = [] {
        auto port = makeBoardIdentifierPort();
        return load(*port);
    }();
    return coefficients;
}

}  // namespace orv::EnergyCoefficientsLoader
