#include "src/names/label_list.h"

#include <cstdlib>
#include <cstring>

namespace {

struct CLabelRange {
    int low;
    int high;
};

constexpr CLabelRange kNothing = {-1, -1};
constexpr int kLabelsPerGrowth = 5;

// Reads a number and advances `text` past it. Returns false if there is none.
bool ReadNumber(const char** text, int* number) {
    char* end = nullptr;
    *number = static_cast<int>(strtol(*text, &end, 10));
    if (end == *text) return false;
    *text = end;
    return true;
}

CLabelRange ReadRange(const char* item) {
    int low = 0;
    if (!ReadNumber(&item, &low)) return kNothing;
    if (*item != '-') return {low, low};
    ++item;
    int high = 0;
    if (!ReadNumber(&item, &high)) return kNothing;
    return {low, high};
}

// Copies the non-empty items of `text` to separate strings and returns their number.
size_t SplitItems(const char* text, char*** items) {
    size_t count = 0;
    while (*text != '\0') {
        const size_t length = strcspn(text, ",");
        if (length > 0) {
            *items = static_cast<char**>(realloc(*items, (count + 1) * sizeof(char*)));
            char* item = static_cast<char*>(calloc(length + 1, 1));
            memcpy(item, text, length);
            (*items)[count++] = item;
        }
        text += length;
        if (*text == ',') ++text;
    }
    return count;
}

void AppendLabel(int** labels, int* count, int value) {
    if (*count % kLabelsPerGrowth == 0) {
        const size_t room = static_cast<size_t>(*count) + kLabelsPerGrowth;
        *labels = static_cast<int*>(*labels == nullptr ? calloc(room, sizeof(int))
                                                       : realloc(*labels, room * sizeof(int)));
    }
    (*labels)[(*count)++] = value;
}

} // namespace

int parse_label_list(const char* text, int** labels) {
    char** items = nullptr;
    const size_t itemCount = SplitItems(text, &items);
    // Without items the block has no bytes; it is freed but never read.
    // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI)
    auto* ranges = static_cast<CLabelRange*>(calloc(itemCount, sizeof(CLabelRange)));
    for (size_t i = 0; i < itemCount; ++i)
        ranges[i] = ReadRange(items[i]);

    int count = 0;
    for (size_t i = 0; i < itemCount; ++i) {
        const CLabelRange range = ranges[i];
        if (range.low < 0) continue;
        // In 64 bits: a range may end at the largest int. One with a negative end has no values.
        for (long long v = range.low; v <= range.high; ++v) {
            const int value = static_cast<int>(v);
            if (!in_label_list(*labels, count, value)) AppendLabel(labels, &count, value);
        }
    }

    for (size_t i = 0; i < itemCount; ++i)
        free(items[i]);
    free(items);
    free(ranges);
    return count;
}

int in_label_list(const int* labels, int count, int value) {
    for (int i = 0; i < count; ++i)
        if (labels[i] == value) return 1;
    return 0;
}
