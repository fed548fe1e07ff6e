#include "tests/library/elf.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>

namespace vx::test {

namespace {

class Image {
  public:
    explicit Image(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        const auto header = at<Elf64_Ehdr>(0);
        if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
            header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB)
            throw std::runtime_error(path + " is no 64-bit ELF file");
        for (size_t i = 0; i < header.e_shnum; ++i)
            m_sections.push_back(at<Elf64_Shdr>(header.e_shoff + i * header.e_shentsize));
    }

    template <class T>
    T at(size_t offset) const {
        T record;
        if (m_bytes.size() < sizeof record || offset > m_bytes.size() - sizeof record)
            throw std::runtime_error("an ELF record outside the file");
        std::memcpy(&record, m_bytes.data() + offset, sizeof record);
        return record;
    }

    std::string text(const Elf64_Shdr& strings, size_t offset) const {
        const size_t start = strings.sh_offset + offset;
        if (start >= m_bytes.size()) throw std::runtime_error("an ELF name outside the file");
        return {m_bytes.data() + start, strnlen(m_bytes.data() + start, m_bytes.size() - start)};
    }

    std::optional<Elf64_Shdr> section(Elf64_Word type) const {
        for (const Elf64_Shdr& section : m_sections)
            if (section.sh_type == type) return section;
        return {};
    }
    const Elf64_Shdr& linked(const Elf64_Shdr& section) const {
        return m_sections.at(section.sh_link);
    }

  private:
    std::vector<char> m_bytes;
    std::vector<Elf64_Shdr> m_sections;
};

} // namespace

SharedObject read_shared_object(const std::string& path) {
    const Image image(path);
    const auto symbols = image.section(SHT_DYNSYM);
    const auto dynamic = image.section(SHT_DYNAMIC);
    const auto versions = image.section(SHT_GNU_versym);
    if (!symbols || !dynamic) throw std::runtime_error(path + " has no dynamic symbols");

    SharedObject object;
    for (size_t i = 0; i < dynamic->sh_size / sizeof(Elf64_Dyn); ++i) {
        const auto entry = image.at<Elf64_Dyn>(dynamic->sh_offset + i * sizeof(Elf64_Dyn));
        if (entry.d_tag == DT_NEEDED)
            object.needed.push_back(image.text(image.linked(*dynamic), entry.d_un.d_val));
    }
    for (size_t i = 1; i < symbols->sh_size / sizeof(Elf64_Sym); ++i) {
        const auto symbol = image.at<Elf64_Sym>(symbols->sh_offset + i * sizeof(Elf64_Sym));
        const std::string name = image.text(image.linked(*symbols), symbol.st_name);
        if (symbol.st_shndx != SHN_UNDEF) {
            if (symbol.st_shndx != SHN_ABS) object.exported.push_back(name);
            continue;
        }
        // Versions 0 and 1 mean "local" and "global without a version".
        const int version =
            versions ? image.at<Elf64_Half>(versions->sh_offset + i * sizeof(Elf64_Half)) : 1;
        if (version > 1)
            object.from_libraries.push_back(name);
        else if (ELF64_ST_BIND(symbol.st_info) != STB_WEAK)
            object.unversioned.push_back(name);
    }
    std::sort(object.exported.begin(), object.exported.end());
    return object;
}

} // namespace vx::test
