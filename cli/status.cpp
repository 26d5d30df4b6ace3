#include "cli/status.h"

#include <cstdint>

#include "controller/paths.h"

namespace {

constexpr std::string_view kErrorMarker = "ERROR CODE=";
constexpr std::string_view kOkMarker = "OK";

struct StatusText {
    int code;
    std::string_view text;
};

// The controller's one-byte status codes (0x31 ... 0xB0), as the driver
// prints them after a method call. The spellings are the controller's.
constexpr StatusText kDriverTable[] = {
    {49, "Incorrect Argument Number Received"},
    {51, "File Access Denied"},
    {66, "RAIDSet Not Normal"},
    {67, "VolumeSet Not Normal"},
    {68, "No RAID Set"},
    {69, "No Volume Set"},
    {70, "No Physical Drive"},
    {71, "Parameter Error"},
    {72, "Unsupported Command"},
    {73, "Disk Configuration Changed"},
    {74, "Invalid Password for the RAID Controller"},
    {75, "No Disk Space"},
    {76, "CheckSum Error"},
    {77, "Rassword Required"},
    {78, "No More Data"},
    {79, "INTERNAL ERROR "},
    {80, "Firmware CRC Error"},
    {81, "Firmware Invalid"},
    {82, "Firmware Update Failed"},
    {83, "Firmware No HDD"},
    {84, "End of Data"},
    {85, "Encryption Type Mismatch"},
    {86, "Encryption Key Length Invalid"},
    {87, "Encryption Key Invalid"},
    {88, "Disk Test Failed"},
    {176, "Command Timed Out"},
};

// The password check's variant: its own texts for 66 and 67, the driver's
// texts from 68 on (49 and 51 are not among them), and a default for every
// other code.
constexpr StatusText kVerifyOwnTexts[] = {
    {66, "RAID Set Not Normal"},
    {67, "Volume Set Not Normal"},
};
constexpr int kVerifySharedFrom = 68;
constexpr std::string_view kVerifyDefault = "Disk Test Failed";

template <size_t N>
std::string_view Lookup(const StatusText (&table)[N], int code, std::string_view otherwise) {
    for (const StatusText& entry : table)
        if (entry.code == code) return entry.text;
    return otherwise;
}

}  // namespace

std::optional<int> DecodeStatus(std::string_view reply) {
    const size_t at = reply.find(kErrorMarker);
    if (at == std::string_view::npos) return std::nullopt;
    uint32_t code = 0;
    int quotes = 0;
    for (size_t i = at + kErrorMarker.size(); i < reply.size() && quotes < 2; ++i) {
        const char c = reply[i];
        if (c == '"')
            ++quotes;
        else
            code = code * 10 + static_cast<uint32_t>(c - '0');
    }
    return static_cast<int>(code);
}

bool ReplyHasOk(std::string_view reply) { return reply.find(kOkMarker) != std::string_view::npos; }

std::string_view DriverStatusText(int code) { return Lookup(kDriverTable, code, {}); }

std::string_view VerifyStatusText(int code) {
    const std::string_view shared = code >= kVerifySharedFrom ? DriverStatusText(code) : std::string_view{};
    return Lookup(kVerifyOwnTexts, code, shared.empty() ? kVerifyDefault : shared);
}

void PrintMethodStatus(std::string_view reply, std::ostream& os) {
    if (const std::optional<int> code = DecodeStatus(reply)) {
        const std::string_view text = DriverStatusText(*code);
        if (!text.empty()) os << text << '\n';
    }
    if (ReplyHasOk(reply)) os << " OK " << '\n';
}

// One pass with a running length `n` that the routine adjusts itself. A %00
// escape shortens the text by three but `n` by two, so `n` can run past the
// real end: the pass stops at the real end, and a look past it reads the
// terminating NUL a C string would have there.
void CleanUpMsg(std::string& message) {
    const auto charAt = [&message](long i) {
        return static_cast<size_t>(i) < message.size() ? message[static_cast<size_t>(i)] : '\0';
    };
    auto n = static_cast<long>(message.size());
    for (long i = 0; i < n && i < static_cast<long>(message.size()); ++i) {
        const auto at = static_cast<size_t>(i);
        const char c = message[at];
        if (c == '\n' && i < n - 1 && charAt(i + 1) != '*') {
            if (charAt(i + 1) == '\n') {
                message.erase(at, 1);
                --i;
                --n;
            } else {
                message.insert(at + 1, "* ");
                i += 2;
                n += 2;
            }
        } else if (c == '%' && i < n - 2) {
            // Only escapes whose high digit leaves the sign bit clear (0..7)
            // are decoded.
            const auto high = static_cast<signed char>(hexValue(charAt(i + 1)) * 16);
            const int low = hexValue(charAt(i + 2));
            if (high >= 0 && low >= 0) {
                const char decoded = static_cast<char>(high | low);
                message.erase(at, 3);
                if (decoded != '\0') message.insert(at, 1, decoded);
                n -= 2;
            }
        }
    }
}
