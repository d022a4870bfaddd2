#pragma once
#include <QCollator>
#include <QStringView>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

// The browser's name order for names of printable ASCII, without asking the collator for
// every pair: each character's place in the collator's own order (read from it once, upper
// and lower case sharing one), digit runs compared by value. Sorting a large folder spent
// most of its time making collation keys. Only where the collator's language sorts these
// characters one by one (English, which also stands in for the "C" locale); elsewhere, and for
// any other name, the collator decides.
class NameOrder {
public:
    explicit NameOrder(const QCollator& collator);

    bool isAvailable() const { return mAvailable; }
    // Only printable ASCII, digit runs of a length the collator takes as one number.
    static bool isPlain(QStringView name);
    // As collator.compare(a, b) would answer (<0, 0, >0); nullopt when either name isn't plain
    // or the order is not available.
    std::optional<int> compare(QStringView a, QStringView b) const;
    // Appends a plain name's key (the order must be available): keys compared byte by byte,
    // the shorter first when one begins the other, order their names as compare() does.
    // Each character gives its place; a number its mark, its count of digits without leading
    // zeros, then those digits.
    void appendKey(QStringView plainName, std::vector<uint8_t>& key) const;

private:
    static constexpr int kFirst = 0x20;
    static constexpr int kLast = 0x7e;
    std::array<uint8_t, kLast + 1> mRank{};
    bool mAvailable = false;
};

// Compares keys made by NameOrder::appendKey.
int compareNameKeys(const uint8_t* a, size_t aSize, const uint8_t* b, size_t bSize);
