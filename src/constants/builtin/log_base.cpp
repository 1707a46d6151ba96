#include "constants/builtin/log_base.h"

#include <array>
#include <limits>

#include "base/names/names.h"

namespace kalvor {
namespace {

using Matrix = std::vector<std::vector<i64>>;

constexpr std::array<u64, 6> kPrimes = {2, 3, 5, 7, 11, 13};

Matrix without(const Matrix& a, u64 row, u64 column) {
    Matrix minor;
    for (u64 i = 0; i < a.size(); i++) {
        if (i == row) continue;
        minor.emplace_back();
        for (u64 j = 0; j < a.size(); j++) {
            if (j != column) minor.back().push_back(a[i][j]);
        }
    }
    return minor;
}

// Expanded along the first row: at most 720 products, once a base.
i64 determinant(const Matrix& a) {
    if (a.empty()) return 1;
    i64 sum = 0;
    for (u64 j = 0; j < a.size(); j++) {
        if (a[0][j] != 0) sum += (j % 2 == 0 ? 1 : -1) * a[0][j] * determinant(without(a, 0, j));
    }
    return sum;
}

}  // namespace

LogBase::LogBase(std::initializer_list<u32> arguments) : arguments_(arguments) {
    const u64 n = size();
    Matrix a(n, std::vector<i64>(n, 0));  // [prime][argument]
    for (u64 i = 0; i < n; i++) {
        const PrimeExponents ratio = arccoth_ratio(arguments_[i]);
        for (u64 j = 0; j < n; j++) {
            const auto at = ratio.find(kPrimes[j]);
            if (at != ratio.end()) a[j][i] = at->second;
        }
    }
    determinant_ = determinant(a);
    adjugate_.assign(n, std::vector<i64>(n));
    for (u64 i = 0; i < n; i++) {
        for (u64 j = 0; j < n; j++) {
            adjugate_[i][j] = ((i + j) % 2 == 0 ? 1 : -1) * determinant(without(a, j, i));
        }
    }
}

u64 LogBase::largest_prime() const {
    return kPrimes[size() - 1];
}

// Cramer's rule.
bool LogBase::solve(const PrimeExponents& r, std::vector<LogTerm>& terms) const {
    if (!r.empty() && r.rbegin()->first > largest_prime()) return false;
    terms.clear();
    for (u64 i = 0; i < size(); i++) {
        // Six products of a 64-bit exponent and a minor below 2^32.
        i128 sum = 0;
        for (u64 j = 0; j < size(); j++) {
            const auto at = r.find(kPrimes[j]);
            if (at != r.end()) sum += i128(adjugate_[i][j]) * at->second;
        }
        if (sum % determinant_ != 0) return false;
        sum /= determinant_;
        if (sum > std::numeric_limits<i64>::max() || sum < -std::numeric_limits<i64>::max()) return false;
        if (sum != 0) terms.push_back({static_cast<i64>(sum), arguments_[i]});
    }
    return true;
}

std::span<const LogBase> log_bases(LogFormulaKind kind) {
    static const std::vector<LogBase> primary = {LogBase{251, 449, 4801, 8749},
                                                 LogBase{1574, 4801, 8749, 13311, 21295, 246401}};
    static const std::vector<LogBase> secondary = {LogBase{99, 449, 4801, 8749},
                                                   LogBase{351, 1079, 4801, 8749, 19601}};
    return kind == LogFormulaKind::primary ? primary : secondary;
}

}  // namespace kalvor
