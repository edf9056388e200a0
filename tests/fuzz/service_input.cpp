#include "tests/fuzz/service_input.h"

#include <climits>

namespace fuzz {
namespace {

constexpr const char* words[] = {"",
                                 " ",
                                 "000001",
                                 "000002",
                                 "000003",
                                 "A",
                                 "B",
                                 "Item",
                                 "ItemRevision",
                                 "ItemRevision Master",
                                 "Folder",
                                 "Text",
                                 "Form",
                                 "Dataset",
                                 "VANE_specification",
                                 "Released",
                                 "InWork",
                                 "none",
                                 "true",
                                 "false",
                                 "all",
                                 "object_desc",
                                 "object_name",
                                 "user_data_1",
                                 "VANE_master_form",
                                 "TEMP",
                                 "HOME",
                                 "KELD_CFG_PATH",
                                 "*",
                                 "%s%n%d",
                                 "%%",
                                 "..",
                                 "a/b\\c:d",
                                 "=",
                                 "[x]",
                                 "-1",
                                 "99999999999",
                                 "31.12.2026",
                                 "00.00.0000",
                                 "\xff\xfe\x80",
                                 "Gr\xc3\xbcn",
                                 "\n",
                                 "\r\n\t",
                                 "BOMLine",
                                 "item_id",
                                 "owning_user",
                                 "Drawing",
                                 "revision_list",
                                 "user_data_1=x;user_data_2=y"};
constexpr char separators[] = {';', ';', ';', '.', ',', '=', '/', '\n', '|', ' '};
constexpr int numbers[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 15, -1, INT_MAX, INT_MIN, 100, 1000};

}  // namespace

int Decisions::number() {
    if (!oneIn(8))
        return pick(numbers);
    const std::size_t high = below(65536);
    return static_cast<int>(high << 16U | below(65536));
}

std::string Decisions::word() {
    if (oneIn(12))
        return text();
    std::string result = pick(words);
    while (oneIn(3))
        result += std::string(1, pick(separators)) + pick(words);
    return result;
}

std::string Decisions::text() {
    static constexpr std::size_t edges[] = {31,  32,  33,  127, 128,  129,  239,  240,  241,
                                            255, 256, 998, 999, 1000, 1023, 1024, 1025, 4096};
    std::string result;
    if (oneIn(3)) {
        for (std::size_t left = below(200); left > 0; --left)
            result += static_cast<char>(byte() % 255 + 1);
        return result;
    }
    const std::size_t length = oneIn(40) ? 100000 - below(60000) : pick(edges) + below(3) - 1;
    result = std::string(pick(words)) + (oneIn(2) ? ";" : "x");
    while (result.size() < length)
        result += std::string(result);
    result.resize(length);
    return result;
}

}  // namespace fuzz
