#include "host/requestplan.h"

#include <QtEndian>
#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>

namespace host {

namespace {

/// CommunicatorCommand's type codes.
const int WORDS = 2;
const int DOUBLE_WORDS = 3;

int bytesPerValue(char letter)
{
    return letter == 'F' ? 4 : 2;
}

/// Elements that have to come together for one tag.
struct Wanted
{
    quint32 group; ///< of elements that one read can bring: file and word
    int first;
    int last;
    int tag;
};

Wanted wantedBy(const Tag& tag, int index)
{
    const DataPlace& place = tag.place;
    const auto group = static_cast<quint32>(place.letter << 16 | place.file << 8 | place.word);
    const int elements = bytesOf(tag.form) / bytesPerValue(place.letter);
    return {group, place.element, place.element + elements - 1, index};
}

bool comesBefore(const Wanted& a, const Wanted& b)
{
    return std::make_tuple(a.group, a.first, -a.last, a.tag)
           < std::make_tuple(b.group, b.first, -b.last, b.tag);
}

/// Elements of one group, none within the others', by their place.
struct Item
{
    int first;
    int last;
};

/// Items that one read brings.
struct Span
{
    size_t first;
    size_t last;
};

class GroupPlanner
{
public:
    GroupPlanner(const Tag& anyTag, const PlanSettings& settings)
        : m_place(anyTag.place)
        , m_settings(settings)
    {}

    /// The reads for the tags that want [begin, end), all of this group and sorted.
    void plan(const Wanted* begin, const Wanted* end, std::vector<PlannedRead>* reads)
    {
        std::vector<size_t> itemOf;
        for (const Wanted* wanted = begin; wanted != end; ++wanted) {
            if (m_items.empty() || wanted->last > m_items.back().last)
                m_items.push_back({wanted->first, wanted->last});
            itemOf.push_back(m_items.size() - 1);
        }
        const Wanted* wanted = begin;
        for (const Span& span : cheapestSpans()) {
            PlannedRead read = readOf(span);
            for (; wanted != end && itemOf[static_cast<size_t>(wanted - begin)] <= span.last;
                 ++wanted) {
                const int offset =
                    (wanted->first - read.range.element) * bytesPerValue(m_place.letter);
                read.slices.push_back({wanted->tag, offset});
            }
            reads->push_back(std::move(read));
        }
    }

private:
    ElementRange rangeOf(const Span& span) const
    {
        const int first = m_items[span.first].first;
        return {m_place.letter, m_place.file, first, m_items[span.last].last - first + 1};
    }

    /// Dynamic programming over the items: the cheapest way to bring the first of them
    /// ends in one last read, and begins with the cheapest way to bring those before it.
    /// Reads that overlap are never cheaper: the first could end before the second.
    std::vector<Span> cheapestSpans() const
    {
        std::vector<double> cheapest = {0}; // seconds, by the number of items
        std::vector<Span> lastOf;           // by the last item
        for (size_t end = 0; end < m_items.size(); ++end) {
            cheapest.push_back(std::numeric_limits<double>::infinity());
            lastOf.push_back({end, end});
            for (size_t first = end + 1; first-- > 0;) {
                const ElementRange range = rangeOf({first, end});
                if (dataBytesOf(range) > m_settings.dataBytes)
                    break;
                const double seconds = cheapest[first] + secondsOf(range, m_settings.line);
                if (seconds <= cheapest.back()) {
                    cheapest.back() = seconds;
                    lastOf.back().first = first;
                }
            }
        }

        std::vector<Span> spans;
        for (size_t items = m_items.size(); items > 0; items = spans.back().first)
            spans.push_back(lastOf[items - 1]);
        std::reverse(spans.begin(), spans.end());
        return spans;
    }

    PlannedRead readOf(const Span& span) const
    {
        PlannedRead read;
        read.range = rangeOf(span);
        read.command.type = m_place.letter == 'F' ? DOUBLE_WORDS : WORDS;
        read.command.count = read.range.count;
        read.command.address = addressOf(read.range.element);
        read.lineBytes = lineBytesOf(read.range, m_settings.line);
        read.seconds = secondsOf(read.range, m_settings.line);
        return read;
    }

    QString addressOf(int element) const
    {
        const bool hasNumber = m_place.letter != 'O' && m_place.letter != 'I';
        QString text(QLatin1Char(m_place.letter));
        if (hasNumber)
            text += QString::number(m_place.file);
        text += QLatin1Char(':') + QString::number(element);
        if (m_place.word == 0)
            return text;
        const bool isControl = m_place.letter == 'R';
        const char* const preset = isControl ? ".LEN" : ".PRE";
        const char* const accumulator = isControl ? ".POS" : ".ACC";
        return text + QLatin1String(m_place.word == 1 ? preset : accumulator);
    }

    const DataPlace& m_place; // but for the element
    const PlanSettings& m_settings;
    std::vector<Item> m_items;
};

std::vector<PlannedRead> planned(std::vector<Wanted> wanted, const std::vector<Tag>& tags,
                                 const PlanSettings& settings)
{
    std::sort(wanted.begin(), wanted.end(), comesBefore);
    std::vector<PlannedRead> reads;
    const Wanted* const end = wanted.data() + wanted.size();
    for (const Wanted* begin = wanted.data(); begin != end;) {
        const Wanted* const next = std::find_if(
            begin, end, [begin](const Wanted& other) { return other.group != begin->group; });
        GroupPlanner(tags[static_cast<size_t>(begin->tag)], settings).plan(begin, next, &reads);
        begin = next;
    }
    return reads;
}

std::vector<Wanted> wantedBy(const PlannedRead& read, const std::vector<Tag>& tags)
{
    std::vector<Wanted> wanted;
    for (const TagSlice& slice : read.slices)
        wanted.push_back(wantedBy(tags[static_cast<size_t>(slice.tag)], slice.tag));
    return wanted;
}

}

std::vector<PlannedRead> planReads(const std::vector<Tag>& tags, const PlanSettings& settings)
{
    std::vector<Wanted> wanted;
    wanted.reserve(tags.size());
    for (size_t i = 0; i < tags.size(); ++i)
        wanted.push_back(wantedBy(tags[i], static_cast<int>(i)));
    return planned(std::move(wanted), tags, settings);
}

std::vector<PlannedRead> planAgain(const PlannedRead& read, const std::vector<Tag>& tags,
                                   const PlanSettings& settings)
{
    return planned(wantedBy(read, tags), tags, settings);
}

double secondsOf(const std::vector<PlannedRead>& reads)
{
    return std::accumulate(
        reads.begin(), reads.end(), 0.0,
        [](double seconds, const PlannedRead& read) { return seconds + read.seconds; });
}

std::vector<double> savingsOf(const PlannedRead& read, const std::vector<Tag>& tags,
                              const PlanSettings& settings)
{
    const std::vector<Wanted> wanted = wantedBy(read, tags);
    std::vector<int> tagsAt(static_cast<size_t>(read.range.count));
    for (const Wanted& tag : wanted) {
        for (int element = tag.first; element <= tag.last; ++element)
            ++tagsAt[static_cast<size_t>(element - read.range.element)];
    }
    const auto isShared = [&](int element) {
        return tagsAt[static_cast<size_t>(element - read.range.element)] > 1;
    };
    std::vector<double> savings;
    for (size_t i = 0; i < wanted.size(); ++i) {
        double saving = 0;
        if (!isShared(wanted[i].first) || !isShared(wanted[i].last)) {
            std::vector<Wanted> others = wanted;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
            saving = read.seconds - secondsOf(planned(std::move(others), tags, settings));
        }
        savings.push_back(std::max(saving, 0.0));
    }
    return savings;
}

std::optional<FormedValue> valueIn(const QByteArray& data, const TagSlice& slice, const Tag& tag)
{
    const int size = bytesOf(tag.form);
    if (slice.offset < 0 || slice.offset > data.size() - size)
        return std::nullopt;
    const char* const bytes = data.constData() + slice.offset;
    const quint32 bits =
        size == 4 ? qFromLittleEndian<quint32>(bytes) : qFromLittleEndian<quint16>(bytes);
    return FormedValue{tag.form, tag.place.bit ? bits >> *tag.place.bit & 1 : bits};
}

}
