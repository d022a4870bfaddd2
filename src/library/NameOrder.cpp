#include "library/NameOrder.h"

#include <QLocale>
#include <QString>
#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// The collator reads a run of more digits than this as several numbers.
constexpr qsizetype kMaxNumberDigits = 254;

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

}  // namespace

NameOrder::NameOrder(const QCollator& collator)
{
    // Other languages may join letters ("ch", "aa") or tailor them in ways one character at a
    // time can't show.
    const QLocale::Language language = collator.locale().language();
    if (language != QLocale::English && language != QLocale::C)
        return;
    if (collator.caseSensitivity() != Qt::CaseInsensitive || !collator.numericMode() || collator.ignorePunctuation())
        return;
    // Every digit starts a number, so '0' stands for all numbers.
    std::vector<char16_t> chars;
    for (int c = kFirst; c <= kLast; ++c)
        if (!isDigit(char16_t(c)) || c == u'0')
            chars.push_back(char16_t(c));
    std::vector<std::pair<QCollatorSortKey, char16_t>> keyed;
    keyed.reserve(chars.size());
    const QString empty;
    for (char16_t c : chars) {
        const QString text(QChar{c});
        // A character the collator ignores would make names equal that differ in it.
        if (collator.compare(text, empty) == 0)
            return;
        keyed.emplace_back(collator.sortKey(text), c);
    }
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first.compare(b.first) < 0; });
    int rank = 1;
    for (size_t i = 0; i < keyed.size(); ++i) {
        if (i > 0 && keyed[i - 1].first.compare(keyed[i].first) != 0)
            ++rank;
        mRank[keyed[i].second] = uint8_t(rank);
    }
    // Numbers must stand apart from every other character.
    for (char16_t c : chars)
        if (c != u'0' && mRank[c] == mRank[u'0'])
            return;
    for (char16_t c = u'1'; c <= u'9'; ++c)
        mRank[c] = mRank[u'0'];
    mAvailable = true;
}

bool NameOrder::isPlain(QStringView name)
{
    qsizetype digits = 0;
    for (QChar qc : name) {
        const char16_t c = qc.unicode();
        if (c < kFirst || c > kLast)
            return false;
        digits = isDigit(c) ? digits + 1 : 0;
        if (digits > kMaxNumberDigits)
            return false;
    }
    return true;
}

std::optional<int> NameOrder::compare(QStringView a, QStringView b) const
{
    if (!mAvailable || !isPlain(a) || !isPlain(b))
        return std::nullopt;
    std::vector<uint8_t> x;
    std::vector<uint8_t> y;
    appendKey(a, x);
    appendKey(b, y);
    return compareNameKeys(x.data(), x.size(), y.data(), y.size());
}

void NameOrder::appendKey(QStringView plainName, std::vector<uint8_t>& key) const
{
    const char16_t* c = plainName.utf16();
    const char16_t* end = c + plainName.size();
    while (c < end) {
        if (!isDigit(*c)) {
            key.push_back(mRank[*c++]);
            continue;
        }
        // By value: leading zeros count for nothing, then the longer number is the larger.
        while (c + 1 < end && *c == u'0' && isDigit(c[1]))
            ++c;
        const char16_t* numberEnd = c;
        while (numberEnd < end && isDigit(*numberEnd))
            ++numberEnd;
        key.push_back(mRank[u'0']);
        key.push_back(uint8_t(numberEnd - c));
        for (; c < numberEnd; ++c)
            key.push_back(uint8_t(*c));
    }
}

int compareNameKeys(const uint8_t* a, size_t aSize, const uint8_t* b, size_t bSize)
{
    if (const int c = std::memcmp(a, b, std::min(aSize, bSize)); c != 0)
        return c < 0 ? -1 : 1;
    return aSize == bSize ? 0 : (aSize < bSize ? -1 : 1);
}
