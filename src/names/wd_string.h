// The library's string class, and file names with a frame number.
//
// Both are plain values. Failures are reported by results: "" or false.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

// A byte string with two functions that return parts of it.
class CWdString : public std::string {
  public:
    using std::string::string;
    CWdString() = default;
    CWdString(std::string text) : std::string(std::move(text)) {}

    // The text before the last `c`; "", not the whole string, without any `c`. The analysis of file
    // names depends on that.
    CWdString RTrim(char c) const {
        const size_type at = rfind(c);
        return at == npos ? CWdString() : CWdString(substr(0, at));
    }

    // The text between the last `last` and the nearest `first` before it; "" if either is missing.
    // If `last` is the first character, `first` is searched for in the whole string, but the result
    // is "" wherever it is found.
    CWdString RTrim(char first, char last) const {
        const int atLast = static_cast<int>(rfind(last));
        const int atFirst = static_cast<int>(rfind(first, static_cast<size_type>(atLast) - 1));
        if (atLast < 0 || atFirst < 0 || atLast <= atFirst) return {};
        return substr(static_cast<size_type>(atFirst) + 1,
                      static_cast<size_type>(atLast - atFirst - 1));
    }
};

// A file name for one frame, split so that the names for other frames can be made from it.
//
//   m_nFrameType   layout                                example with the type "pdc"
//   0              base "." digits "." type              shot.0012.pdc
//   1              base "." type "." digits              shot.pdc.0012
//   2              base digits "." type, 5 digits most   shot0012.pdc
//   3              base "_" digits "." type              shot_0012.pdc
//   -1             none found
class CWdFilename : public CWdString {
  public:
    int m_nFrameType = -1;
    CWdString m_sBase;  // before the frame number (layout 1: before the type), without separator
    int m_nDigits = 0;  // characters of the frame number
    int m_nZeros = 0;   // leading "0" characters of it
    int m_nPadding = 1; // width of other frames' numbers: m_nDigits with leading zeros, else 1

    CWdFilename() = default;
    explicit CWdFilename(const CWdString& name) : CWdString(name) {}

    // The text after the last "." of the whole path; "" if there is none.
    CWdString GetExtension() const {
        const size_type at = rfind('.');
        return at == npos ? CWdString() : CWdString(substr(at + 1));
    }

    // Finds the frame number of a name with the extension `type`, given without its dot, which is
    // case-sensitive. Returns false and changes nothing if no layout fits.
    bool SetType(const CWdString& type) {
        const CWdString extension = GetExtension();
        if (extension == type) return SetNumberBeforeType();
        return SetNumberAfterType(type, extension);
    }

    // The name for `frame` with the extension `type`; "" unless SetType succeeded. The minimum
    // width of the number is that of the analyzed number if that has leading zeros, else `padding`.
    // Zeros precede a minus sign.
    CWdString MakeUpFrame(const CWdString& type, int padding, int frame) const {
        const CWdString number(std::to_string(frame));
        const int width = m_nZeros != 0 ? m_nPadding : padding;
        const size_type wanted = width > 0 ? static_cast<size_type>(width) : 0;
        const CWdString zeros(wanted > number.size() ? wanted - number.size() : 0, '0');
        switch (m_nFrameType) {
        case 0:
            return m_sBase + "." + zeros + number + "." + type;
        case 1:
            return m_sBase + "." + type + "." + zeros + number;
        case 2:
            return m_sBase + zeros + number + "." + type;
        case 3:
            return m_sBase + "_" + zeros + number + "." + type;
        default:
            return {};
        }
    }

  private:
    static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

    // True for "" as well.
    static bool HasOnlyDigits(const CWdString& text) {
        return std::all_of(text.begin(), text.end(), IsDigit);
    }

    static int LeadingZeros(const CWdString& text) {
        return static_cast<int>(std::min(text.find_first_not_of('0'), text.size()));
    }

    std::ptrdiff_t DotCount() const { return std::count(begin(), end(), '.'); }

    bool Record(int layout, const CWdString& base, const CWdString& number) {
        m_nFrameType = layout;
        m_sBase = base;
        m_nDigits = static_cast<int>(number.size());
        m_nZeros = LeadingZeros(number);
        if (m_nZeros != 0) m_nPadding = m_nDigits;
        return true;
    }

    bool SetNumberBeforeType() {
        if (DotCount() > 1) {
            const CWdString number = RTrim('.', '.');
            if (!number.empty() && HasOnlyDigits(number))
                return Record(0, RTrim('.').RTrim('.'), number);
        }
        const CWdString afterUnderscore = RTrim('_', '.');
        if (!afterUnderscore.empty() && HasOnlyDigits(afterUnderscore))
            return Record(3, RTrim('.').RTrim('_'), afterUnderscore);

        // Of a longer run of digits, all but the last five belong to the base.
        constexpr size_type kMostDigits = 5;
        const CWdString stem = RTrim('.');
        const auto digits = static_cast<size_type>(
            std::find_if_not(stem.rbegin(), stem.rend(), IsDigit) - stem.rbegin());
        if (digits == 0) return false;
        const size_type base = stem.size() - std::min(digits, kMostDigits);
        return Record(2, stem.substr(0, base), stem.substr(base));
    }

    bool SetNumberAfterType(const CWdString& type, const CWdString& extension) {
        if (DotCount() <= 1) return false;
        // An empty number is accepted: "shot.pdc." has layout 1 and a number without digits.
        if (!HasOnlyDigits(extension)) return false;
        const CWdString middle = RTrim('.', '.');
        if (middle.empty() || middle != type) return false;
        return Record(1, RTrim('.').RTrim('.'), extension);
    }
};
