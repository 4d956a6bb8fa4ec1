// Any text as a tag list: it is refused with the number of a line, or every tag in it
// has an address, a form that suits it, and its place in exactly one planned read.
#include "harness.h"

#include "host/requestplan.h"

#include <cmath>
#include <set>

namespace {

const size_t MOST_TAGS = 40; // planning takes longer the more there are

void checkTag(const host::Tag& tag)
{
    QString error;
    REQUIRE(!tag.name.isEmpty() && std::isfinite(tag.scale) && tag.scale != 0);
    const auto address = host::TagAddress::parse(tag.address, &error);
    REQUIRE(address && address->place());
    REQUIRE(host::formsAt(tag.place).contains(tag.form));
    REQUIRE(tag.scale == 1 || host::isNumber(tag.form));
    const auto again = host::tagAt(tag.address, host::nameOf(tag.form), &error);
    REQUIRE(again && again->form == tag.form);
}

void checkPlan(const std::vector<host::Tag>& tags, int dataBytes)
{
    host::PlanSettings settings;
    settings.dataBytes = dataBytes;
    std::set<int> planned;
    for (const host::PlannedRead& read : host::planReads(tags, settings)) {
        REQUIRE(host::dataBytesOf(read.range) <= dataBytes && read.seconds > 0);
        REQUIRE(read.range.element + read.range.count - 1 <= 65535);
        const QByteArray data(read.command.getDataSize(), '\xA5');
        for (const host::TagSlice& slice : read.slices) {
            const host::Tag& tag = tags.at(static_cast<size_t>(slice.tag));
            REQUIRE(planned.insert(slice.tag).second);
            const auto value = host::valueIn(data, slice, tag);
            REQUIRE(value && !value->text(tag.scale).isEmpty());
        }
    }
    REQUIRE(planned.size() == tags.size());
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const int dataBytes = 6 + input.byte() % (host::MOST_DATA_BYTES - 5);
    QString error;
    auto tags = host::parseTagList(input.rest(), &error);
    if (!tags) {
        REQUIRE(error.startsWith("line ") && !error.contains('\n'));
        return 0;
    }
    REQUIRE(!tags->empty());
    std::set<QString> names;
    for (const host::Tag& tag : *tags) {
        checkTag(tag);
        REQUIRE(names.insert(tag.name).second);
    }
    if (tags->size() > MOST_TAGS)
        tags->resize(MOST_TAGS);
    checkPlan(*tags, dataBytes);
    return 0;
}
