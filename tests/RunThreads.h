// Runs body(index) on count threads at once and waits for them all.
#pragma once

#include <thread>
#include <vector>

template <class Body>
void runThreads(int count, Body body)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
    for (std::thread& thread : threads) thread.join();
}
