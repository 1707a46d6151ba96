#include "os/linux/crash_clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

using namespace trel;

namespace {

// The C library in another time zone for a while.
class TimeZone {
  public:
    explicit TimeZone(const char* name) {
        if (const char* old = std::getenv("TZ")) before_ = old;
        setenv("TZ", name, 1);
        tzset();
    }
    ~TimeZone() {
        if (before_.empty()) {
            unsetenv("TZ");
        } else {
            setenv("TZ", before_.c_str(), 1);
        }
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

  private:
    std::string before_;
};

bool same(const os::LocalTime& a, const os::LocalTime& b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.weekday == b.weekday &&
           a.hour == b.hour && a.minute == b.minute && a.second == b.second;
}

}  // namespace

TEST(CrashClockTest, IsTheLocalTimeOfTwoYears) {
    constexpr i64 kDay = 86400;
    std::mt19937_64 random(5);
    // With and without summer time, both hemispheres, offsets of a part of an hour; rules in the name itself
    // need no tables.
    for (const char* zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "IST-5:30",
                             "LHST-10:30LHDT-11,M10.1.0,M4.1.0", "NPT-5:45"}) {
        const TimeZone here(zone);
        for (const i64 now : {i64(1700000000), i64(1790000000), i64(951782399), i64(4102444800)}) {
            os::CrashClock clock;
            clock.learn(now);
            for (int i = 0; i < 2000; i++) {
                const i64 t = now + static_cast<i64>(random() % (730 * kDay));
                EXPECT_TRUE(same(clock.local_time(t), os::local_time(t))) << zone << " " << now << " " << t;
            }
            // Seconds around the changes.
            for (i64 t = now; t < now + 730 * kDay; t += 1800) {
                for (const i64 s : {t - 1 - (t % 1800), t - (t % 1800)}) {
                    if (s < now) continue;
                    EXPECT_TRUE(same(clock.local_time(s), os::local_time(s))) << zone << " " << s;
                }
            }
        }
    }
}

TEST(CrashClockTest, NothingLearntIsUtc) {
    const os::LocalTime time = os::CrashClock().local_time(951782399);  // the second before a leap day
    EXPECT_EQ(time.year, 2000);
    EXPECT_EQ(time.month, 2);
    EXPECT_EQ(time.day, 28);
    EXPECT_EQ(time.weekday, 1);
    EXPECT_EQ(time.hour, 23);
    EXPECT_EQ(time.minute, 59);
    EXPECT_EQ(time.second, 59);
}
