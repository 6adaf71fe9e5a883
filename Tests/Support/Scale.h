#pragma once

#include <cstddef>
#include <cstdint>

// How much of a random or repeated test is run, and from which seed.
//
// A build that is ten times slower (a sanitizer) would take ten times longer for the same proof; such runs set
// VR_TEST_SCALE to a fraction such as 0.1. The seed is fixed, and VR_TEST_SEED changes it by hand.
//
// Thread-safety: safe while nobody changes the environment.
namespace TestSupport
{

// inCount times VR_TEST_SCALE, rounded, at least 1. Without the variable inCount itself; a value that isn't
// a positive number ends the program, as a test that silently ran in full or not at all would prove nothing.
std::size_t ScaledCount(std::size_t inCount);

// The seed for every random test of this process, printed when it is first asked for.
std::uint64_t Seed();

}
