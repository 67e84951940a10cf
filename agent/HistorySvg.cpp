#include "HistorySvg.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

#include "AgentState.h"
#include "CtlWords.h"
#include "Markup.h"

namespace {

// The page, in pixels.
constexpr double kWidth = 1000;
constexpr double kLeft = 170;  // room for the names of the lanes
constexpr double kRight = 970;
constexpr double kMarkRow = 74;  // where the marks hang
constexpr double kFirstLane = 90;
constexpr double kLaneHeight = 26;
constexpr double kLaneGap = 6;
constexpr double kThinnest = 1;  // what is shorter would not be seen

enum Lane { kOnlineLane, kOpenLane, kOfflineLane, kNoAgentLane, kLanes };
constexpr const char* kLaneNames[] = {"online", "open network", "offline", "no agent"};
static_assert(std::size(kLaneNames) == kLanes, "every lane has its name");
constexpr double kAxis = kFirstLane + kLanes * (kLaneHeight + kLaneGap);
constexpr double kHeight = kAxis + 50;

constexpr char kStyle[] =
    "<style>\n"
    "svg{font:13px sans-serif}\n"
    ".ground{fill:#fff}.word{fill:#222}.faint{fill:#666}.line{stroke:#ddd}\n"
    ".l0{fill:#2a8f57}.l1{fill:#3a7bd5}.l2{fill:#cf4455}.l3{fill:#9a9a9a}\n"
    ".lost{fill:#cf4455}.asked{fill:none;stroke:#666}\n"
    "@media(prefers-color-scheme:dark){\n"
    ".ground{fill:#181a1d}.word{fill:#eee}.faint{fill:#aaa}.line{stroke:#3a3d42}.asked{stroke:#aaa}\n"
    "}\n"
    "</style>\n";

// A stretch of time in one lane, and what began it.
struct Band {
    std::time_t start;
    std::time_t end;
    Lane lane;
    const HistoryEntry* entry;
};

// How far apart the ticks of an axis are, in the units of local time, for it has days of 23 and 25 hours.
struct TickStep {
    std::time_t longestSpan;
    int minutes;
    int days;
    const char* format;
};
constexpr std::time_t kHour = 60 * 60;
constexpr std::time_t kDay = 24 * kHour;
constexpr TickStep kTickSteps[] = {
    {2 * kHour, 10, 0, "%H:%M"},       {12 * kHour, 60, 0, "%H:%M"}, {36 * kHour, 180, 0, "%H:%M"},
    {3 * kDay, 360, 0, "%H:%M"},       {14 * kDay, 0, 1, "%m-%d"},   {100 * kDay, 0, 7, "%m-%d"},
    {1500 * kDay, 0, 100, "%Y-%m-%d"},
};
constexpr TickStep kWidestStep = {0, 0, 1000, "%Y-%m-%d"};

Lane LaneOf(const std::string& state) {
    if (state == WordOf(AgentState::kOnline).name) {
        return kOnlineLane;
    }
    if (state == WordOf(AgentState::kOpenNetwork).name) {
        return kOpenLane;
    }
    return state == kAgentStopped ? kNoAgentLane : kOfflineLane;
}

// Entries of one lane that follow each other are one band: a login passes through several states.
std::vector<Band> BandsOf(const std::deque<HistoryEntry>& entries, std::time_t since, std::time_t now) {
    std::vector<Band> bands;
    for (size_t i = 0; i < entries.size(); ++i) {
        const std::time_t end = i + 1 < entries.size() ? entries[i + 1].time : now;
        const Band band = {std::max(entries[i].time, since), std::min(end, now), LaneOf(entries[i].state),
                           &entries[i]};
        if (band.end < since || band.start > now) {
            continue;
        }
        if (!bands.empty() && bands.back().lane == band.lane) {
            bands.back().end = std::max(band.end, bands.back().end);
        } else if (band.end >= band.start) {
            bands.push_back(band);
        }
    }
    return bands;
}

std::string Number(double value) {
    char text[32];
    (void)snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

// Text of a document: harmless in a terminal, and without the two characters that XML does not know.
std::string Escaped(const std::string& text) {
    std::string shown = Shown(text);
    for (const char* unknown : {"\xef\xbf\xbe", "\xef\xbf\xbf"}) {
        for (size_t found = 0; (found = shown.find(unknown, found)) != std::string::npos;) {
            shown.replace(found, 3, "?");
        }
    }
    return CMarkup::EscapeText(shown.c_str(), CMarkup::MNF_ESCAPEQUOTES).GetText();
}

std::string TextAt(double x, double y, const char* attributes, const std::string& text) {
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" " + attributes + ">" + Escaped(text) +
           "</text>\n";
}

std::string Tooltip(const std::string& text) {
    return "<title>" + Escaped(text) + "</title>";
}

std::string EntryWords(const HistoryEntry& entry) {
    return HistoryWords({entry}, false);
}

class Drawing {
  public:
    Drawing(const std::deque<HistoryEntry>& entries, std::time_t since, std::time_t now)
        : m_since(since),
          m_now(std::max(now, since + 1)),
          m_bands(BandsOf(entries, since, now)),
          m_summary(Summarize(entries, since, now)) {}

    std::string Document() const {
        return Head() + Axis() + Lanes() + Bands() + Marks() + Legend() + "</svg>\n";
    }

  private:
    double PlaceOf(std::time_t time) const {
        return kLeft +
               (kRight - kLeft) * static_cast<double>(time - m_since) / static_cast<double>(m_now - m_since);
    }

    std::string Head() const {
        const std::string size = "width=\"" + Number(kWidth) + "\" height=\"" + Number(kHeight) + "\"";
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" " +
               size + " viewBox=\"0 0 " + Number(kWidth) + " " + Number(kHeight) + "\" role=\"img\">\n" +
               Tooltip(SummaryWords(m_summary)) + "\n" + kStyle + "<rect class=\"ground\" " + size + "/>\n" +
               TextAt(20, 30, "class=\"word\" font-size=\"18\"", SummaryWords(m_summary)) +
               TextAt(20, 52, "class=\"faint\"", LocalTime(m_since) + " to " + LocalTime(m_now));
    }

    std::string Axis() const {
        const TickStep* step =
            std::find_if(std::begin(kTickSteps), std::end(kTickSteps),
                         [this](const TickStep& row) { return m_now - m_since <= row.longestSpan; });
        return Ticks(step != std::end(kTickSteps) ? *step : kWidestStep);
    }

    std::string Ticks(const TickStep& step) const {
        tm midnight = {};
        (void)localtime_r(&m_since, &midnight);
        midnight.tm_sec = midnight.tm_min = midnight.tm_hour = 0;
        std::string ticks;
        for (int i = 0;; ++i) {
            tm local = midnight;
            local.tm_min += i * step.minutes;
            local.tm_mday += i * step.days;
            local.tm_isdst = -1;
            const std::time_t time = mktime(&local);
            if (time < 0 || time > m_now) {
                return ticks;
            }
            ticks += time >= m_since ? Tick(time, local, step.format) : "";
        }
    }

    std::string Tick(std::time_t time, const tm& local, const char* format) const {
        const std::string x = Number(PlaceOf(time));
        const bool isMidnight = local.tm_hour == 0 && local.tm_min == 0;
        char text[32] = "";
        (void)strftime(text, sizeof(text),
                       isMidnight && *format == '%' && format[1] == 'H' ? "%m-%d" : format, &local);
        return "<line class=\"line\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + Number(kFirstLane) +
               "\" y2=\"" + Number(kAxis + 4) + "\"/>\n" +
               TextAt(PlaceOf(time), kAxis + 18, "class=\"faint\" text-anchor=\"middle\" font-size=\"11\"",
                      text);
    }

    static double TopOf(int lane) { return kFirstLane + lane * (kLaneHeight + kLaneGap); }

    // The name of each lane and its share of the time that was looked at; time without an agent was not.
    std::string Lanes() const {
        std::time_t sums[kLanes] = {};
        for (const Band& band : m_bands) {
            sums[band.lane] += band.end - band.start;
        }
        std::string lanes;
        for (int lane = 0; lane < kLanes; ++lane) {
            std::string name = kLaneNames[lane];
            if (lane == kNoAgentLane) {
                name += sums[lane] > 0 ? ", " + DurationWords(sums[lane]) : "";
            } else if (m_summary.lookedAt > 0) {
                name += " " +
                        Number(100.0 * static_cast<double>(sums[lane]) /
                               static_cast<double>(m_summary.lookedAt)) +
                        " %";
            }
            lanes += TextAt(20, TopOf(lane) + kLaneHeight - 8, "class=\"word\"", name);
        }
        return lanes;
    }

    std::string Bands() const {
        std::string bands;
        for (const Band& band : m_bands) {
            const double x = PlaceOf(band.start);
            bands += "<rect class=\"l" + std::to_string(band.lane) + "\" x=\"" + Number(x) + "\" y=\"" +
                     Number(TopOf(band.lane)) + "\" width=\"" +
                     Number(std::max(PlaceOf(band.end) - x, kThinnest)) + "\" height=\"" +
                     Number(kLaneHeight) + "\">" +
                     Tooltip(std::string(kLaneNames[band.lane]) + " for " +
                             DurationWords(band.end - band.start) + "; " + EntryWords(*band.entry)) +
                     "</rect>\n";
        }
        return bands;
    }

    std::string Marks() const {
        std::string marks;
        for (size_t i = 1; i < m_bands.size(); ++i) {
            if (m_bands[i - 1].lane == kOnlineLane) {
                marks += Mark(PlaceOf(m_bands[i].start), WasAsked(m_bands[i]), EntryWords(*m_bands[i].entry));
            }
        }
        return marks;
    }

    static bool WasAsked(const Band& band) {
        return band.lane == kNoAgentLane || band.entry->state == WordOf(AgentState::kLoggingOut).name;
    }

    static std::string Mark(double x, bool wasAsked, const std::string& title) {
        return "<path class=\"" + std::string(wasAsked ? "asked" : "lost") + "\" d=\"M" + Number(x - 5) +
               " " + Number(kMarkRow) + "h10l-5 12z\">" + Tooltip(title) + "</path>\n";
    }

    static std::string Legend() {
        const double y = kHeight - 10;
        return "<path class=\"lost\" d=\"M20 " + Number(y - 10) + "h10l-5 12z\"/>\n" +
               TextAt(38, y, "class=\"faint\" font-size=\"11\"", "an interruption") +
               "<path class=\"asked\" d=\"M140 " + Number(y - 10) + "h10l-5 12z\"/>\n" +
               TextAt(158, y, "class=\"faint\" font-size=\"11\"",
                      "an end that was asked for, or of the agent; the pointer over a mark or band shows "
                      "what ended it");
    }

    const std::time_t m_since;
    const std::time_t m_now;
    const std::vector<Band> m_bands;
    const HistorySummary m_summary;
};

}  // namespace

std::string HistoryAsSvg(const std::deque<HistoryEntry>& entries, std::time_t since, std::time_t now) {
    return Drawing(HistoryUntil(entries, now), since, now).Document();
}
