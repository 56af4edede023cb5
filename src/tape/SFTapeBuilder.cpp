#include "tape/SFTapeBuilder.h"

#include "operators/SFScalarOps.h"

#include <algorithm>
#include <bit>

namespace SF {
namespace {

constexpr SFValueId Unknown = UINT32_MAX;

/// The operation and the operands of an instruction, as 64-bit words: equal for equal values.
std::array<std::uint64_t, 3> KeyOf(SFTapeInstruction const& iInstruction)
{
  auto const& o = iInstruction.operands;
  std::uint64_t payload = 0;
  if (iInstruction.code == CodeOf(SFNodeType::CONSTANT))
    payload = std::bit_cast<std::uint64_t>(iInstruction.constant);
  else if (IsResourceCode(iInstruction.code))
    payload = reinterpret_cast<std::uintptr_t>(iInstruction.resource);
  return {(std::uint64_t{iInstruction.code} << 32) | o[0], (std::uint64_t{o[1]} << 32) | o[2], payload};
}

std::size_t HashOf(std::array<std::uint64_t, 3> const& iKey)
{
  std::uint64_t hash = 0;
  for (std::uint64_t const word : iKey) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15ULL;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

} // namespace

void SFTapeBuilder::Reserve(std::size_t iCount)
{
  _tape.instructions.reserve(iCount);
  Rehash(std::bit_ceil(2 * (iCount + 1)));
}

/// Makes room in the table, which has a power of two of places.
void SFTapeBuilder::Rehash(std::size_t iPlaces)
{
  _numbering.assign(iPlaces, Unknown);
  std::size_t const mask = _numbering.size() - 1;
  for (SFValueId id = 0; id < _tape.instructions.size(); ++id) {
    std::size_t i = HashOf(KeyOf(_tape.instructions[id])) & mask;
    while (_numbering[i] != Unknown)
      i = (i + 1) & mask;
    _numbering[i] = id;
  }
}

SFValueId SFTapeBuilder::Number(SFTapeInstruction const& iInstruction)
{
  if (2 * (_tape.instructions.size() + 1) > _numbering.size())
    Rehash(_numbering.empty() ? 256 : 2 * _numbering.size());
  auto const key = KeyOf(iInstruction);
  std::size_t const mask = _numbering.size() - 1;
  std::size_t i = HashOf(key) & mask;
  for (; _numbering[i] != Unknown; i = (i + 1) & mask)
    if (KeyOf(_tape.instructions[_numbering[i]]) == key)
      return _numbering[i];
  _numbering[i] = static_cast<SFValueId>(_tape.instructions.size());
  _tape.instructions.push_back(iInstruction);
  return _numbering[i];
}

SFValueId SFTapeBuilder::Constant(double iValue)
{
  SFTapeInstruction instruction;
  instruction.code = CodeOf(SFNodeType::CONSTANT);
  instruction.constant = iValue;
  return Number(instruction);
}

SFValueId SFTapeBuilder::Emit(SFNodeType iOperator, SFValueId iA, SFValueId iB)
{
  auto const& a = _tape.instructions[iA];
  auto const& b = _tape.instructions[iB];
  constexpr SFTapeCode constant = CodeOf(SFNodeType::CONSTANT);
  if (a.code == constant && b.code == constant)
    return Constant(ScalarOps::Apply(iOperator, a.constant, b.constant));
  SFTapeInstruction instruction;
  instruction.code = CodeOf(iOperator);
  instruction.axes = a.axes | b.axes;
  instruction.operands = {iA, iB, 0};
  return Number(instruction);
}

/// Of two for one value the first one stays.
void SFTapeBuilder::AddSlope(SFValueId iId, SFSlopeEntry const& iSlope)
{
  if (iSlope.use == SFSlopeUse::None)
    return;
  if (_slopes.entries.size() <= iId)
    _slopes.entries.resize(iId + 1);
  if (_slopes.entries[iId].use == SFSlopeUse::None)
    _slopes.entries[iId] = iSlope;
}

SFTape SFTapeBuilder::Finish()
{
  auto& instructions = _tape.instructions;
  std::vector<char> needed(instructions.size(), 0);
  for (SFValueId const result : _tape.results)
    needed[result] = 1;
  for (std::size_t id = instructions.size(); id-- > 0;)
    if (needed[id] != 0)
      for (int i = 0; i < ArityOf(instructions[id].code); ++i)
        needed[instructions[id].operands[static_cast<std::size_t>(i)]] = 1;

  std::vector<SFValueId> renumbered(instructions.size(), Unknown);
  SFTape tape;
  tape.instructions.reserve(static_cast<std::size_t>(std::count(needed.begin(), needed.end(), 1)));
  for (std::size_t id = 0; id < instructions.size(); ++id) {
    if (needed[id] == 0)
      continue;
    SFTapeInstruction instruction = instructions[id];
    RenumberOperands(instruction, [&](SFValueId iId) { return renumbered[iId]; });
    renumbered[id] = static_cast<SFValueId>(tape.instructions.size());
    tape.instructions.push_back(instruction);
  }
  for (SFValueId const result : _tape.results)
    tape.results.push_back(renumbered[result]);
  for (SFStatedBound const& bound : _tape.bounds)
    if (needed[bound.value] != 0)
      tape.bounds.push_back({renumbered[bound.value], bound.lipschitz});
  for (SFTapeChoice const& choice : _tape.choices)
    if (needed[choice.condition] != 0 && needed[choice.chooser] != 0)
      tape.choices.push_back({renumbered[choice.condition], renumbered[choice.chooser]});
  for (SFValueId const value : _tape.readAside)
    if (needed[value] != 0)
      tape.readAside.push_back(renumbered[value]);
  if (!_hasSlopes)
    return tape;
  SFSlopeTable slopes;
  if (!_slopes.entries.empty())
    slopes.entries.resize(tape.instructions.size());
  for (std::size_t id = 0; id < _slopes.entries.size(); ++id)
    if (needed[id] != 0)
      slopes.entries[renumbered[id]] = _slopes.entries[id];
  tape.slopes = std::make_shared<SFSlopeTable const>(std::move(slopes));
  return tape;
}

} // namespace SF
