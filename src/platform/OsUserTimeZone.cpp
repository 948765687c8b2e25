#include "platform/OsUserTimeZone.h"

#include <cstring>
#include <vector>

namespace {

constexpr std::time_t SECONDS_PER_MINUTE = 60;
constexpr std::time_t SECONDS_PER_DAY = 86400;
constexpr std::size_t MAXIMUM_CHANGES = 4;

tm LocalTime(std::time_t time) {
    tm fields = {};
    localtime_r(&time, &fields);
    return fields;
}

bool IsDaylight(std::time_t time) {
    return LocalTime(time).tm_isdst > 0;
}

std::int32_t MinutesWest(const tm& local) {
    return static_cast<std::int32_t>(-local.tm_gmtoff / 60);
}

void CopyName(const char* zone, char (&name)[32]) {
    std::strncpy(name, zone, sizeof name - 1);
}

struct TChange {
    std::time_t time; // first minute of the new state
    tm local;         // the same in local time
    _SYSTEMTIME rule; // told on the old clock
};

// The change between two moments of which the later one is in the new state.
TChange FindChange(std::time_t time, bool wasDaylight) {
    while (IsDaylight(time) != wasDaylight) {
        time -= SECONDS_PER_MINUTE;
    }
    const tm last = LocalTime(time);
    time += SECONDS_PER_MINUTE;

    TChange change = {time, LocalTime(time), {}};
    // Meant: a change at midnight on the old clock is told as hour 24.
    tm moment = change.local;
    moment.tm_hour = last.tm_hour;
    moment.tm_min = last.tm_min + 1;
    if (moment.tm_min == 60) {
        moment.tm_min = 0;
        ++moment.tm_hour;
    }
    Tm2TimeZoneTime(&moment, &change.rule);
    return change;
}

// The changes of this and the next year, by walking the calendar: no call gives a zone's rules.
std::vector<TChange> FindChanges(int year) {
    tm start = {};
    start.tm_year = year;
    start.tm_mday = 1;
    start.tm_isdst = -1;
    std::time_t day = mktime(&start);

    std::vector<TChange> changes;
    bool wasDaylight = IsDaylight(day);
    for (; LocalTime(day).tm_year <= year + 1 && changes.size() < MAXIMUM_CHANGES; day += SECONDS_PER_DAY) {
        if (IsDaylight(day) != wasDaylight) {
            changes.push_back(FindChange(day, wasDaylight));
            wasDaylight = !wasDaylight;
        }
    }
    return changes;
}

bool IsSameRule(_SYSTEMTIME left, _SYSTEMTIME right) {
    left.wYear = right.wYear;
    return std::memcmp(&left, &right, sizeof left) == 0;
}

bool IsEmpty(const _SYSTEMTIME& date) {
    return date.wMonth == 0;
}

} // namespace

void Tm2TimeZoneTime(const tm* moment, _SYSTEMTIME* rule) {
    *rule = {};
    rule->wYear = static_cast<std::uint16_t>(moment->tm_year + 1900);
    rule->wMonth = static_cast<std::uint16_t>(moment->tm_mon + 1);
    rule->wDayOfWeek = static_cast<std::uint16_t>(moment->tm_wday);
    rule->wHour = static_cast<std::uint16_t>(moment->tm_hour);
    rule->wMinute = static_cast<std::uint16_t>(moment->tm_min);

    tm weekLater = {};
    weekLater.tm_year = moment->tm_year;
    weekLater.tm_mon = moment->tm_mon;
    weekLater.tm_mday = moment->tm_mday + 7;
    timegm(&weekLater);
    const bool isLast = weekLater.tm_mon != moment->tm_mon;
    rule->wDay = static_cast<std::uint16_t>(isLast ? 5 : (moment->tm_mday + 6) / 7);
}

std::uint32_t OsUserGetTimeZoneInformation(_TIME_ZONE_INFORMATION* information) {
    *information = {};
    const std::time_t now = std::time(nullptr);
    const tm present = LocalTime(now);

    const std::vector<TChange> changes = FindChanges(present.tm_year);
    for (const TChange& change : changes) {
        const bool toDaylight = change.local.tm_isdst > 0;
        _SYSTEMTIME& date = toDaylight ? information->DaylightDate : information->StandardDate;
        if (change.time <= now || (change.local.tm_year != present.tm_year && !IsEmpty(date))) {
            continue;
        }
        date = change.rule;
        if (toDaylight) {
            information->DaylightBias = MinutesWest(change.local);
            CopyName(change.local.tm_zone, information->DaylightName);
        } else {
            information->StandardBias = 0;
            information->Bias = MinutesWest(change.local);
            CopyName(change.local.tm_zone, information->StandardName);
        }
    }
    if (changes.empty()) {
        information->Bias = MinutesWest(present);
        CopyName(present.tm_zone, information->StandardName);
    } else {
        information->DaylightBias -= information->Bias;
    }
    if (changes.size() == MAXIMUM_CHANGES && IsSameRule(changes[0].rule, changes[2].rule) &&
        IsSameRule(changes[1].rule, changes[3].rule)) {
        information->StandardDate.wYear = 0;
        information->DaylightDate.wYear = 0;
    }
    return present.tm_isdst > 0 ? OSUSER_TIME_ZONE_DAYLIGHT : OSUSER_TIME_ZONE_STANDARD;
}
