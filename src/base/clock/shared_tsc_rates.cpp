#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "base/clock/tsc_frequency.h"

namespace trel {

struct SharedTscRates::State {
    explicit State(FrequencyCalls given) : calls(std::move(given)) {}

    enum class Stage { idle, measuring, there };

    const FrequencyCalls calls;
    mutable std::mutex mutex;
    std::condition_variable changed;
    Stage stage = Stage::idle;
    bool unwanted = false;  // by the last Measuring, which is ending
    u64 n_measuring = 0;    // objects that live
    TscRates rates;         // do not change any more once they are there
    bool reported = false;  // what there was to say about them
    std::vector<std::function<void(const TscRates*)>> actions;
    std::thread thread;

    // Sleeps, but not when nobody wants the rates.
    bool pass(double seconds) {
        std::unique_lock<std::mutex> lock(mutex);
        return !changed.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return unwanted; });
    }

    // In the stage `measuring`, which this ends.
    void measure() {
        FrequencyCalls sleeping = calls;
        if (!sleeping.pass) sleeping.pass = [this](double seconds) { return pass(seconds); };
        const TscRates measured = measure_tsc(sleeping);
        std::vector<std::function<void(const TscRates*)>> waiting;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (!measured.abandoned) rates = measured;
            stage = measured.abandoned ? Stage::idle : Stage::there;
            waiting.swap(actions);
        }
        changed.notify_all();
        for (const auto& action : waiting) action(measured.abandoned ? nullptr : &rates);
    }
};

SharedTscRates::SharedTscRates(FrequencyCalls calls) : state_(std::make_unique<State>(std::move(calls))) {}

SharedTscRates::~SharedTscRates() = default;

SharedTscRates& SharedTscRates::of_this_machine() {
    // Never destroyed: a thread may ask while the process ends.
    static SharedTscRates& rates = *new SharedTscRates(FrequencyCalls::of_this_machine());
    return rates;
}

// Waits for the rates, or measures them, and says nothing.
void SharedTscRates::measured() {
    State& state = *state_;
    std::unique_lock<std::mutex> lock(state.mutex);
    while (state.stage != State::Stage::there) {
        if (state.stage == State::Stage::measuring) {
            state.changed.wait(lock);
            continue;
        }
        state.stage = State::Stage::measuring;
        lock.unlock();
        state.measure();
        lock.lock();
    }
}

const TscRates& SharedTscRates::wait() {
    measured();
    State& state = *state_;
    bool first;
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        first = !std::exchange(state.reported, true);
    }
    if (first || state.rates.failure != nullptr) state.rates.require();
    return state.rates;
}

const TscRates* SharedTscRates::look() const {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->stage == State::Stage::there ? &state_->rates : nullptr;
}

void SharedTscRates::when_there(std::function<void(const TscRates*)> action) {
    State& state = *state_;
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        if (state.stage == State::Stage::measuring) {
            state.actions.push_back(std::move(action));
            return;
        }
    }
    measured();
    action(&state.rates);
}

void SharedTscRates::begin() {
    State& state = *state_;
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.n_measuring++;
    if (state.stage != State::Stage::idle) return;
    state.unwanted = false;
    try {
        state.thread = std::thread([&state] { state.measure(); });
        state.stage = State::Stage::measuring;
    } catch (const std::system_error&) {  // whoever needs the rates measures them
    }
}

void SharedTscRates::end() {
    State& state = *state_;
    std::thread thread;
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        if (--state.n_measuring != 0) return;
        state.unwanted = true;
        thread.swap(state.thread);
    }
    state.changed.notify_all();
    if (thread.joinable()) thread.join();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.unwanted = false;
}

}  // namespace trel
