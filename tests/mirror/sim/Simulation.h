// A small world: one origin, mirrors of it and mirrors of mirrors, and what happens to them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Mirror {

/// One thing that happens. What it means for whom comes from its own numbers, so that a schedule
/// without some of its steps is a schedule.
struct Step {
  char kind;  ///< see stepKinds
  uint32_t a;
  uint32_t b;
};

/// Kinds of steps, `a` chooses a place, `b` is the seed of what it does there:
///
///   w  writes some changes there, when it may
///   x  the same, with an allocation that fails: in a setter, or in what observes it
///   k  works there once: reads, applies, sends
///   f  as k, with interrupted, short, refused and broken reads and writes
///   m  as k, with an allocation that fails
///   c  its connection ends: by itself, by the other side, or by the system
///   t  time passes
///   r  it is killed and starts again with nothing (the origin: with another tree)
///   u  the origin unmounts its root, or mounts it again
///   b  writes there as 'w': many values of one entity, lives under one key, in either tree
///   p  the origin gets a second tree, or that one changes places with the first, or goes; others
///      mirror it
///   o  nobody observes its trees any more, or somebody does again
///   a  all work, a few times
struct Schedule {
  uint64_t seed = 0;  ///< of the world: how many places, what type, what limits, who writes
  std::vector<Step> steps;
};

Schedule scheduleOf(uint64_t seed);
/// "17 w0.123 k1.5 ...", and back. Throws std::invalid_argument.
std::string textOf(const Schedule& schedule);
Schedule scheduleFrom(std::string_view text);

/// What goes wrong at one exact place of a schedule.
struct Trouble {
  /// Behind so many bytes, of all places together, no stream works until the steps are over.
  std::optional<uint64_t> cutAfter;
  /// In steps of kind 'a': which allocation fails.
  std::optional<uint64_t> failingAllocation;
};

/// Runs it to its end: when nothing goes wrong any more, all places must hold what the origin
/// holds, and what each mirror published must add up to what it is. Nothing, or what is wrong.
std::optional<std::string> run(const Schedule& schedule, const Trouble& trouble = {});

/// A schedule that fails too and is shorter; each try is a process of its own, so that crashes
/// count as failures.
Schedule minimised(const Schedule& failing);

}  // namespace Mirror
