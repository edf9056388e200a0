#include "tests/faults/functions.h"

#include <cxxabi.h>
#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace faults {
namespace {

struct Symbol {
    std::uintptr_t start, end;
    std::size_t name;  // in the table of names
};

class Program {
public:
    Program() {
        std::ifstream file("/proc/self/exe", std::ios::binary | std::ios::ate);
        image_.resize(static_cast<std::size_t>(file.tellg()));
        file.seekg(0);
        file.read(image_.data(), static_cast<std::streamsize>(image_.size()));
        const auto* header = at<Elf64_Ehdr>(0);
        const auto* sections = at<Elf64_Shdr>(header->e_shoff);
        for (int i = 0; i < header->e_shnum; ++i) {
            if (sections[i].sh_type != SHT_SYMTAB)
                continue;
            names_ = sections[sections[i].sh_link].sh_offset;
            const auto* symbols = at<Elf64_Sym>(sections[i].sh_offset);
            for (std::size_t k = 0; k < sections[i].sh_size / sizeof(Elf64_Sym); ++k)
                if (ELF64_ST_TYPE(symbols[k].st_info) == STT_FUNC && symbols[k].st_size > 0)
                    symbols_.push_back({symbols[k].st_value,
                                        symbols[k].st_value + symbols[k].st_size,
                                        symbols[k].st_name});
        }
        if (symbols_.empty())
            throw std::runtime_error("the program has no symbols");
        std::sort(symbols_.begin(), symbols_.end(),
                  [](const Symbol& a, const Symbol& b) { return a.start < b.start; });
        dl_iterate_phdr(
            [](dl_phdr_info* info, std::size_t, void* base) {
                *static_cast<std::uintptr_t*>(base) = info->dlpi_addr;
                return 1;  // the first one is the program
            },
            &base_);
    }

    const std::string& nameAt(std::uintptr_t code) {
        // A return address may be the first address after its function.
        const std::uintptr_t place = code - base_ - 1;
        auto next = std::upper_bound(
            symbols_.begin(), symbols_.end(), place,
            [](std::uintptr_t wanted, const Symbol& symbol) { return wanted < symbol.start; });
        if (next == symbols_.begin() || place >= (--next)->end)
            return unknown_;
        const auto [known, added] = plain_.try_emplace(next->name);
        if (added)
            known->second = plainName(image_.data() + names_ + next->name);
        return known->second;
    }

private:
    template <typename T>
    const T* at(std::size_t offset) const {
        return reinterpret_cast<const T*>(image_.data() + offset);
    }

    static std::string plainName(const char* symbol) {
        int status = 0;
        char* readable = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
        std::string name = status == 0 ? readable : symbol;
        std::free(readable);
        for (std::string_view space : {"(anonymous namespace)::", "[abi:cxx11]"})
            for (std::size_t at; (at = name.find(space)) != std::string::npos;)
                name.erase(at, space.size());
        return name.substr(0, name.find('('));
    }

    std::vector<char> image_;
    std::size_t names_ = 0;
    std::uintptr_t base_ = 0;
    std::vector<Symbol> symbols_;
    std::unordered_map<std::size_t, std::string> plain_;
    std::string unknown_;
};

Program& program() {
    static Program* one = new Program;
    return *one;
}

}  // namespace

const std::string& functionAt(std::uintptr_t code) {
    return program().nameAt(code);
}

void readFunctions() {
    program();
}

}  // namespace faults
