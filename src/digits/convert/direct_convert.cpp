#include "digits/convert/direct_convert.h"

#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace kalvor::CBRv2 {

Word convert_leaf(Word radix, Word* out, u64 n, RadixFraction f) {
    f = f.top(n + 2);
    Word x[18];
    u64 length = f.L;
    for (u64 i = 0; i < f.stored; i++) x[i] = f.words[i];
    for (u64 i = f.stored; i < length; i++) x[i] = 0;

    Word* bottom = x;
    for (u64 left = n + 1; left > 0; left--) {
        Word carry = 0;
        for (u64 i = 0; i < length; i++) {
            const u128 p = u128(bottom[i]) * radix + carry;
            bottom[i] = static_cast<Word>(p);
            carry = static_cast<Word>(p >> 64);
        }
        if (left == 1) return carry;
        out[left - 2] = carry;
        if (length > left) {  // one more than the radix words still to come
            bottom++;
            length--;
        }
    }
    return 0;
}

Word DirectConvertB::run(const ConvertPlanP& plan, Status& status, Word* out, RadixFraction f) {
    if (plan.levels != 0 || f.L > plan.length(plan.n)) {
        throw InvalidParametersException("DirectConvertB::run()",
                                         "Input size is too large for conversion plan.");
    }
    StatusFrame frame(status, "Converting...  ");
    return convert_leaf(plan.radix, out, plan.n, f);
}

}  // namespace kalvor::CBRv2
