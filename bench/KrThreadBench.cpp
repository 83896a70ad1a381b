// KrMutex against std::recursive_mutex, uncontended lock and unlock; and a two-thread ping-pong
// through KrCondition against std::condition_variable with a std::mutex, one condition per
// direction on both sides. The ping-pong counts the CPU time of the whole process (both
// players), so that time spent blocked does not flatter either side.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

void MutexLockUnlock_ZoBase(benchmark::State& state)
{
    KrMutex mutex;
    for (auto _ : state)
    {
        mutex.lock();
        mutex.unlock();
    }
    state.SetItemsProcessed(state.iterations());
}

void MutexLockUnlock_Std(benchmark::State& state)
{
    std::recursive_mutex mutex;
    for (auto _ : state)
    {
        mutex.lock();
        mutex.unlock();
    }
    state.SetItemsProcessed(state.iterations());
}

// The ball: odd values are the partner's to move, even ones the benchmark thread's. A value
// below zero ends the partner.
void PingPong_ZoBase(benchmark::State& state)
{
    KrMutex mutex;
    KrCondition turn[2];
    long long ball = 0;
    std::thread partner(
        [&]
        {
            mutex.lock();
            for (;;)
            {
                while (ball >= 0 && ball % 2 == 0) turn[1].wait(mutex);
                if (ball < 0) break;
                ++ball;
                turn[0].signal();
            }
            mutex.unlock();
        });
    for (auto _ : state)
    {
        mutex.lock();
        ++ball;
        turn[1].signal();
        while (ball % 2 != 0) turn[0].wait(mutex);
        mutex.unlock();
    }
    mutex.lock();
    ball = -1;
    turn[1].signal();
    mutex.unlock();
    partner.join();
    state.SetItemsProcessed(state.iterations());
}

void PingPong_Std(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable turn[2];
    long long ball = 0;
    std::thread partner(
        [&]
        {
            std::unique_lock<std::mutex> hold(mutex);
            for (;;)
            {
                turn[1].wait(hold, [&] { return ball < 0 || ball % 2 != 0; });
                if (ball < 0) break;
                ++ball;
                turn[0].notify_one();
            }
        });
    for (auto _ : state)
    {
        std::unique_lock<std::mutex> hold(mutex);
        ++ball;
        turn[1].notify_one();
        turn[0].wait(hold, [&] { return ball % 2 == 0; });
    }
    {
        std::lock_guard<std::mutex> hold(mutex);
        ball = -1;
    }
    turn[1].notify_one();
    partner.join();
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(MutexLockUnlock_ZoBase)->Name("MutexLockUnlock/ZoBase");
BENCHMARK(MutexLockUnlock_Std)->Name("MutexLockUnlock/Std");
BENCHMARK(PingPong_ZoBase)->Name("PingPong/ZoBase")->MeasureProcessCPUTime();
BENCHMARK(PingPong_Std)->Name("PingPong/Std")->MeasureProcessCPUTime();
