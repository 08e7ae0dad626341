#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/BoardIdentifier.h"
#include "Sampling/EnergyCoefficients.h"

namespace orv::EnergyCoefficientsLoader {

// Where macOS keeps its power-model property lists.
inline const std::filesystem::path defaultDirectory = "/usr/share/pmenergy";

// This machine's coefficients: looked up on first use and kept for the life
// of the process (a file added later is seen at the next start).
const EnergyCoefficients& shared();

// The files tried, in order: "<board>.plist" when there is a board
// identifier, then "default.plist".
std::vector<std::filesystem::path> candidates(const std::optional<std::string>& boardIdentifier,
                                              const std::filesystem::path& directory = defaultDirectory);

// The coefficients of one property-list file; absent when it cannot be read
// or parsed or holds no "energy_constants".
std::optional<EnergyCoefficients> readFile(const std::filesystem::path& file);

// One uncached look-up: the first candidate that yields coefficients, else
// the built-in set. Every failure falls silently to the next candidate.
EnergyCoefficients load(const std::optional<std::string>& boardIdentifier,
                        const std::filesystem::path& directory = defaultDirectory);
EnergyCoefficients load(BoardIdentifierPort& port, const std::filesystem::path& directory = defaultDirectory);

}  // namespace orv::EnergyCoefficientsLoader
