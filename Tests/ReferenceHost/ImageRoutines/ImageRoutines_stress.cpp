#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "IR/ImageRoutines.h"
#include "TestPictures.h"
#include "Tests/Support/Scale.h"

using TestPictures::Memory;

TEST(ImageRoutines, ScaleAndConvertTheSameOnManyThreadsAtOnce)
{
    std::mt19937 random(12);
    Memory source(0x042, 96, 54);
    source.Randomise(random);
    const std::uint32_t targets[] = {0x004, 0x008, 0x042, 0x104, 0x204};
    std::vector<std::vector<unsigned char>> expected;
    const auto scale = [&](std::uint32_t inCode, std::int32_t inWidth)
    {
        Memory target(inCode, inWidth, 30);
        EXPECT_EQ(kIR_Success,
                  IR_ScaleConvert(source.Pixels(), source.RowBytes(), 96, 54, 0x042, 0, target.Pixels(),
                                  target.RowBytes(), inWidth, 30, inCode, 0, 4));
        return target.Packed();
    };
    for (const std::uint32_t code : targets)
    {
        expected.push_back(scale(code, 50));
    }
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                for (std::size_t round = 0; round < TestSupport::ScaledCount(200); ++round)
                {
                    const std::size_t which = (round + thread) % std::size(targets);
                    wrong += scale(targets[which], 50) != expected[which];
                    scale(targets[which],
                          static_cast<std::int32_t>(20 + (round * 7 + thread) % 100)); // new graphs
                    void* block = IR_AllocateTransientMemoryBlock(1000 * (round % 40 + 1));
                    std::fill_n(static_cast<unsigned char*>(block), 1000, static_cast<unsigned char>(thread));
                    IR_FreeTransientMemoryBlock(block);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(0, wrong);
}
