#include "arith/kernels/word_adders.h"

namespace trel {

namespace avx2 {
extern const WordAdders kWordAdders;
}
namespace avx512 {
extern const WordAdders kWordAdders;
}

const WordAdders& word_adders(Isa isa) {
    return TREL_TABLE(isa, kWordAdders);
}

const WordAdders& word_adders() {
    static const WordAdders& adders = word_adders(active_isa());
    return adders;
}

}  // namespace trel
