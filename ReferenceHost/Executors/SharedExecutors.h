#pragma once

// Life of the four shared executors of ML/SharedExecutors.h.
//
// Thread-safety: called by the thread that brings the host up and down, while nothing else uses them.
namespace Executors
{

// Makes all four, sized by norvik::utility::CPUCount at this moment. Those that exist already stay.
void CreateSharedExecutors();

// Cancels what is pending, waits for what runs, and lets all four go. Does nothing if there are none.
void StopSharedExecutors();

} // namespace Executors
