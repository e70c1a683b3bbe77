// Bridges and cables in a network namespace that goes with the test.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Tovo/Directory.h"

/// The process moves into a namespace of its own for each test, where it is root; a test is skipped
/// by name where the machine does not allow that, or has no bridges or no ip. After each test
/// nothing is left alive.
class Lab : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Runs ip with these words, or with a line for each of several commands; the test fails when it
  /// does.
  static void ip(const std::string& words);
  /// The same for commands of which some may fail; returns how many did.
  static int tryIp(const std::string& lines);

  /// br0 and br1, with two cables between them: a0 to a1 and b0 to b1. br0 is the root, and b1 is
  /// what has to block. All up.
  static void twoBridges(int forwardDelay = 200);

  /// Where the trees below /stp/NAME differ from what ip says of all bridges, field by field; empty
  /// when they do not. What ip does not say, or says wrongly, is not compared.
  static std::string difference(const Tovo::Directory& directory);

 private:
  size_t liveBefore_ = 0;
};
