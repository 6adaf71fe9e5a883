#include "IncomingBuffer.h"

#include <boost/thread/locks.hpp>
#include <boost/thread/shared_mutex.hpp>

#include <array>
#include <atomic>

namespace ML
{

namespace
{

constexpr std::size_t kSlotsOfBlock = 256;

struct RequestBlock
{
    explicit RequestBlock(std::uint64_t inNumber) : mNumber(inNumber) {}
    ~RequestBlock() = default;
    RequestBlock(const RequestBlock&) = delete;
    RequestBlock& operator=(const RequestBlock&) = delete;

    // Whoever is first makes the next block; the others throw theirs away.
    RequestBlock& Next()
    {
        RequestBlock* next = mNext.load(std::memory_order_acquire);
        if (next == nullptr)
        {
            auto made = std::make_unique<RequestBlock>(mNumber + 1);
            if (mNext.compare_exchange_strong(next, made.get(), std::memory_order_acq_rel))
            {
                next = made.release();
            }
        }
        return *next;
    }

    const std::uint64_t mNumber;
    std::array<RequestNode, kSlotsOfBlock> mSlots;
    std::atomic<RequestBlock*> mNext{nullptr};
};

class RequestBlockChain
{
public:
    RequestBlockChain() = default;
    RequestBlockChain(const RequestBlockChain&) = delete;
    RequestBlockChain& operator=(const RequestBlockChain&) = delete;

    ~RequestBlockChain()
    {
        RequestBlock* block = mFirst.mNext.load(std::memory_order_acquire);
        while (block != nullptr)
        {
            const std::unique_ptr<RequestBlock> owned(block);
            block = owned->mNext.load(std::memory_order_acquire);
        }
    }

    // The block is found before the slot is counted, as a slot that is counted must be filled.
    void Push(RequestNode& ioNode)
    {
        std::uint64_t slot = mCount.load(std::memory_order_acquire);
        RequestBlock* block = &BlockOf(slot);
        while (!mCount.compare_exchange_weak(slot, slot + 1))
        {
            block = &BlockOf(slot);
        }
        block->mSlots[slot % kSlotsOfBlock] = std::move(ioNode);
    }

    RequestNode Take(std::uint64_t inSlot)
    {
        RequestNode node = std::move(BlockOf(inSlot).mSlots[inSlot % kSlotsOfBlock]);
        mCount.fetch_sub(1, std::memory_order_acq_rel);
        return node;
    }

    // In one order with the schedule flags of the queue: a pass that clears its flag and then finds nothing
    // here has not missed who counted up before it found the flag set.
    std::uint64_t Count() const noexcept { return mCount.load(); }

private:
    // Slots are used one after the other, so the block that was used last is nearly always the one, or the
    // one before it.
    RequestBlock& BlockOf(std::uint64_t inSlot)
    {
        const std::uint64_t number = inSlot / kSlotsOfBlock;
        RequestBlock* block = mLastUsed.load(std::memory_order_acquire);
        if (block->mNumber > number)
        {
            block = &mFirst;
        }
        if (block->mNumber == number)
        {
            return *block;
        }
        while (block->mNumber < number)
        {
            block = &block->Next();
        }
        mLastUsed.store(block, std::memory_order_release);
        return *block;
    }

    RequestBlock mFirst{0};
    std::atomic<RequestBlock*> mLastUsed{&mFirst};
    std::atomic<std::uint64_t> mCount{0}; // requests that are stored
};

} // namespace

struct IncomingBuffer::Impl
{
    bool ConsumerHasAny() const { return !mReturned.empty() || mConsumerSide->Count() != 0; }

    void TakeOne(RequestStation& ioList)
    {
        if (!mReturned.empty())
        {
            Append(ioList, TakeFirst(mReturned));
            return;
        }
        Append(ioList, mConsumerSide->Take(mConsumerCount - mConsumerSide->Count()));
    }

    void Swap()
    {
        const boost::unique_lock<boost::shared_mutex> lock(mSwapLock);
        std::swap(mProducerSide, mConsumerSide);
        mConsumerCount = mConsumerSide->Count();
    }

    RequestBlockChain mSides[2];
    RequestBlockChain* mProducerSide = &mSides[0]; // changed with mSwapLock held exclusively
    boost::shared_mutex mSwapLock;
    RequestBlockChain* mConsumerSide = &mSides[1];
    std::uint64_t mConsumerCount = 0; // that the consumer's side held when it was exchanged
    RequestStation mReturned;         // part of the consumer's side
};

IncomingBuffer::IncomingBuffer() : mImpl(std::make_unique<Impl>()) {}

IncomingBuffer::~IncomingBuffer() = default;

void IncomingBuffer::Push(RequestNode& ioNode)
{
    const boost::shared_lock<boost::shared_mutex> lock(mImpl->mSwapLock);
    mImpl->mProducerSide->Push(ioNode);
}

void IncomingBuffer::GiveBack(RequestNode&& inNode) noexcept
{
    try
    {
        Push(inNode);
    }
    catch (...)
    {
        Append(mImpl->mReturned, std::move(inNode));
    }
}

void IncomingBuffer::Pull(std::uint64_t inLimit, RequestStation& ioList)
{
    std::uint64_t position = 1;
    for (; position < inLimit && mImpl->ConsumerHasAny(); ++position)
    {
        mImpl->TakeOne(ioList);
    }
    if (++position >= inLimit || mImpl->mProducerSide->Count() == 0)
    {
        return;
    }
    mImpl->Swap();
    for (; position < inLimit && mImpl->ConsumerHasAny(); ++position)
    {
        mImpl->TakeOne(ioList);
    }
}

std::size_t IncomingBuffer::Count() const noexcept
{
    return static_cast<std::size_t>(mImpl->mProducerSide->Count() + mImpl->mConsumerSide->Count()) +
           mImpl->mReturned.size();
}

} // namespace ML
