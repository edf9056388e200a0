// Sums of quantities as people write them: decimal text in, decimal text out.

#include <algorithm>
#include <string>

#include "workbench/session/bom_window.h"

namespace mervane {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The digits before and after the point.
struct Digits {
    std::string whole, fraction;

    explicit Digits(std::string_view text) {
        const auto point = text.find('.');
        whole = text.substr(0, point);
        if (point != std::string_view::npos)
            fraction = text.substr(point + 1);
    }
};

}  // namespace

bool isDecimal(std::string_view text) {
    const auto points = std::count(text.begin(), text.end(), '.');
    const auto digits = std::count_if(text.begin(), text.end(), isDigit);
    return digits > 0 && points <= 1 && static_cast<std::size_t>(digits + points) == text.size();
}

std::string addDecimals(std::string_view a, std::string_view b) {
    Digits left(a), right(b);
    const auto places = std::max(left.fraction.size(), right.fraction.size());
    left.fraction.resize(places, '0');
    right.fraction.resize(places, '0');
    std::string x = left.whole + left.fraction, y = right.whole + right.fraction;
    // The last carry needs one place more.
    const auto length = std::max(x.size(), y.size()) + 1;
    x.insert(0, length - x.size(), '0');
    y.insert(0, length - y.size(), '0');

    int carry = 0;
    for (auto i = length; i-- > 0;) {
        const int digit = (x[i] - '0') + (y[i] - '0') + carry;
        x[i] = static_cast<char>('0' + digit % 10);
        carry = digit / 10;
    }

    std::string whole = x.substr(0, length - places), fraction = x.substr(length - places);
    whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
    // If there are only zeros, the search gives npos, and npos + 1 erases all of them.
    fraction.erase(fraction.find_last_not_of('0') + 1);
    if (whole.empty())
        whole = "0";
    return fraction.empty() ? whole : whole + "." + fraction;
}

}  // namespace mervane
