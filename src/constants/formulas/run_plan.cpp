#include "constants/formulas/run_plan.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>
#include <utility>

namespace kalvor::Formulas {
namespace {

// Words of working precision that the formula has beyond what is asked for.
constexpr u64 kGuardWords = 1;
constexpr u64 kWordBits = 64;
// By which values of one precision differ in length.
constexpr u64 kWordsMore = 64;

// A node of the flattened tree. Parents stand before their children, later children before earlier ones.
struct Item {
    const VFormulaNode* node;
    std::vector<std::size_t> children;  // items, in their order
    std::vector<std::size_t> order;     // numbers of children as they are computed
    u64 peak = 0;                       // words from its first operation to its last
    u64 words = 0;                      // that its value keeps
};

// Places of words that are in use, in the order of their addresses, and the caller's result.
class Places {
  public:
    // result: words of it that values may use; 0 keeps it for the formula's own value.
    explicit Places(u64 result) : result_words_(result) {}

    // The result where it is free and large enough, else the lowest place.
    u64 take(u64 words) {
        if (result_is_free(words)) {
            result_is_used_ = true;
            return kInResult;
        }
        return take_memory(words);
    }
    u64 take_memory(u64 words) {
        if (words == 0) return 0;
        const u64 place = first_free(words);
        const auto next =
            std::find_if(used_.begin(), used_.end(), [&](const Place& each) { return each.begin > place; });
        used_.insert(next, {place, place + words});
        peak_ = std::max(peak_, place + words);
        return place;
    }
    void release(u64 place, u64 words) {
        if (place == kInResult) {
            result_is_used_ = false;
        } else if (words != 0) {
            used_.erase(std::find_if(used_.begin(), used_.end(),
                                     [&](const Place& each) { return each.begin == place; }));
        }
    }
    // Where a value at a place could go without overlapping it; kNowhere.
    u64 better_than(u64 place, u64 words) const {
        if (place == kInResult) return kNowhere;
        if (result_is_free(words)) return kInResult;
        const u64 lower = first_free(words);
        return lower + words <= place ? lower : kNowhere;
    }
    u64 peak() const { return peak_; }

  private:
    struct Place {
        u64 begin, end;
    };

    bool result_is_free(u64 words) const { return !result_is_used_ && words <= result_words_; }
    u64 first_free(u64 words) const {
        u64 place = 0;
        for (const Place& each : used_) {
            if (each.begin - place >= words) return place;
            place = each.end;
        }
        return place;
    }

    const u64 result_words_;
    bool result_is_used_ = false;
    std::vector<Place> used_;
    u64 peak_ = 0;
};

u64 words_of_value(const Step& step) {
    return round_up_8(step.needs().result_words);
}
u64 words_of_scratch(const Step& step) {
    return round_up_8((step.needs().bytes + sizeof(Word) - 1) / sizeof(Word));
}

class Planner {
  public:
    Planner(const VFormulaNode& root, const EvaluatorRequest& request) : request_(request) {
        plan_.tds = request.tds;
        flatten(root);
        find_sources();
        measure();
        list_operations();
        give_places();
    }
    RunPlan take() { return std::move(plan_); }

  private:
    const Step* step(std::size_t item) const { return plan_.values[item].step.get(); }

    // Makes the steps: bits are those beyond the precision of the formula.
    void flatten(const VFormulaNode& root) {
        struct Open {
            const VFormulaNode* node;
            std::size_t parent, child;
            u64 bits;
        };
        std::unordered_map<const VFormulaNode*, u64> wanted;
        std::vector<Open> open = {{&root, 0, 0, 0}};
        while (!open.empty()) {
            const Open next = open.back();
            open.pop_back();
            const VFormulaNode& node = *next.node;
            const std::size_t item = items_.size();
            items_.push_back({&node, std::vector<std::size_t>(node.children().size()), {}, 0, 0});
            item_of_[&node] = item;
            if (item != 0) items_[next.parent].children[next.child] = item;
            u64 bits = next.bits;
            if (const auto found = wanted.find(&node); found != wanted.end()) {
                bits = std::max(bits, found->second);
            }
            PlannedValue value;
            const VFormulaNode* const source = node.same_value_as();
            u64 below = bits;
            if (source == nullptr) {
                const u64 words = request_.precision + kGuardWords + (bits + kWordBits - 1) / kWordBits;
                value.step = node.make_step({words, request_.tds});
                below = bits + value.step->extra_bits();
            } else {
                u64& of_source = wanted[source];
                of_source = std::max(of_source, bits);
            }
            plan_.values.push_back(std::move(value));
            for (std::size_t i = 0; i < node.children().size(); i++) {
                // What is read of a local is known when its turn comes.
                const VFormulaNode* const child = node.children()[i].get();
                open.push_back({child, item, i, source == nullptr || child == source ? below : 0});
            }
        }
    }

    // Children, and variables before their readers, stand behind.
    void find_sources() {
        for (std::size_t item = items_.size(); item-- > 0;) {
            const VFormulaNode* const source = items_[item].node->same_value_as();
            plan_.values[item].same_as = source == nullptr ? item : plan_.values[item_of_.at(source)].same_as;
        }
        for (std::size_t item = 0; item < items_.size(); item++) {
            for (const std::size_t child : items_[item].children) {
                plan_.values[item].operands.push_back(plan_.values[child].same_as);
            }
        }
        plan_.root = plan_.values[0].same_as;
    }

    void measure() {
        for (std::size_t i = items_.size(); i-- > 0;) {
            Item& item = items_[i];
            item.order.resize(item.children.size());
            std::iota(item.order.begin(), item.order.end(), std::size_t(0));
            const Step* const own = step(i);
            const auto above = [&](std::size_t child) {
                const Item& x = items_[item.children[child]];
                return x.peak - std::min(x.peak, x.words);
            };
            const auto before = [&](std::size_t x, std::size_t y) { return above(x) > above(y); };
            if (own != nullptr && own->accumulates()) {
                // Only the first has the memory of the sum for itself.
                std::swap(item.order[0], *std::min_element(item.order.begin(), item.order.end(), before));
            } else if (!item.node->evaluates_in_order()) {
                std::stable_sort(item.order.begin(), item.order.end(), before);
            }
            u64 held = 0;
            for (const std::size_t child : item.order) {
                const Item& x = items_[item.children[child]];
                item.peak = std::max(item.peak, held + x.peak);
                if (own != nullptr && own->accumulates()) {
                    held = words_of_value(*own);
                    item.peak = std::max(item.peak, held + x.words + words_of_scratch(*own));
                } else {
                    held += x.words;
                }
            }
            if (own == nullptr) {
                // A variable's words are counted where it is computed.
                item.words = item.children.empty() ? 0 : items_[item.children.back()].words;
            } else {
                item.words = words_of_value(*own);
                if (!own->accumulates()) {
                    item.peak = std::max(item.peak, held + item.words + words_of_scratch(*own));
                }
            }
        }
    }

    void list_operations() {
        struct Open {
            std::size_t item;
            std::size_t done = 0;
        };
        std::vector<Open> open = {{0}};
        while (!open.empty()) {
            Open& top = open.back();
            const std::size_t i = top.item;
            const Item& item = items_[i];
            const Step* const own = step(i);
            if (top.done > 0 && own != nullptr && own->accumulates()) {
                Operation take{Operation::Kind::take, i};
                take.child = item.order[top.done - 1];
                take.begins = top.done == 1;
                plan_.operations.push_back(take);
            }
            if (top.done < item.order.size()) {
                const std::size_t child = item.children[item.order[top.done++]];
                open.push_back({child});
                continue;
            }
            open.pop_back();
            if (own != nullptr && !own->accumulates()) {
                plan_.operations.push_back({Operation::Kind::finish, i});
            } else if (own == nullptr && item.node->announcement() != nullptr) {
                Operation announce{Operation::Kind::announce, i};
                announce.announcement = item.node->announcement();
                plan_.operations.push_back(announce);
            }
        }
    }

    // The values that an operation reads.
    std::vector<std::size_t> read_by(const Operation& operation) const {
        switch (operation.kind) {
            case Operation::Kind::take:
                return {plan_.values[operation.value].operands[operation.child]};
            case Operation::Kind::finish:
                return plan_.values[operation.value].operands;
            case Operation::Kind::copy_to_result:
                return {operation.value};
            case Operation::Kind::announce:
                break;
        }
        return {};
    }

    // With the caller's result for the formula's value alone, and for whatever waits; the cheaper one.
    void give_places() {
        std::vector<Operation> alone = plan_.operations;
        const u64 own_words = words_of_value(*step(plan_.root));
        const u64 bytes_alone = give_places(alone, 0);
        u64 shared_words = own_words;
        for (std::size_t i = 0; i < items_.size(); i++) {
            // Only values with a few words more count, not those that are much more precise.
            const u64 words = step(i) == nullptr ? 0 : words_of_value(*step(i));
            if (words <= own_words + kWordsMore) shared_words = std::max(shared_words, words);
        }
        std::vector<Operation> shared = plan_.operations;
        const u64 bytes_shared = give_places(shared, shared_words);
        const bool is_shared = bytes_shared + (shared_words - own_words) * sizeof(Word) < bytes_alone;
        plan_.operations = is_shared ? std::move(shared) : std::move(alone);
        plan_.needs.bytes = is_shared ? bytes_shared : bytes_alone;
        plan_.needs.result_words = is_shared ? shared_words : step(plan_.root)->needs().result_words;
        for (const PlannedValue& value : plan_.values) {
            if (!value.step) continue;
            plan_.needs.product_words =
                std::max(plan_.needs.product_words, value.step->needs().product_words);
        }
    }

    // The bytes that it takes.
    u64 give_places(std::vector<Operation>& operations, u64 result_words) const {
        const std::size_t root = plan_.root;
        std::vector<u64> readers(items_.size(), 0), place(items_.size(), kNowhere);
        for (const Operation& each : operations) {
            for (const std::size_t x : read_by(each)) readers[x]++;
        }
        // The formula's value is made in the result, unless others read it too or wait there.
        const bool is_direct = readers[root] == 0 && result_words == 0;
        if (!is_direct) {
            operations.push_back({Operation::Kind::copy_to_result, root});
            readers[root]++;
        }
        Places places(result_words);
        const auto release = [&](std::size_t x) { places.release(place[x], words_of_value(*step(x))); };
        for (Operation& operation : operations) {
            const std::size_t x = operation.value;
            const bool makes =
                operation.kind == Operation::Kind::finish || operation.kind == Operation::Kind::take;
            const bool moves = makes && !(x == root && is_direct);
            if (makes) {
                if (operation.kind == Operation::Kind::finish || operation.begins) {
                    place[x] = moves ? places.take(words_of_value(*step(x))) : kInResult;
                }
                operation.place = place[x];
                const u64 words = words_of_scratch(*step(x));
                operation.scratch = places.take_memory(words);
                places.release(operation.scratch, words);
            }
            for (const std::size_t read : read_by(operation)) {
                if (--readers[read] == 0) release(read);
            }
            if (!moves) continue;
            // The end of a value that nobody reads.
            if (readers[x] == 0) {
                if (operation.kind == Operation::Kind::finish || is_last_take(operation)) release(x);
                continue;
            }
            const u64 words = words_of_value(*step(x));
            const u64 better = places.better_than(operation.place, words);
            if (better == kNowhere) continue;
            operation.moves_to = better;
            places.release(operation.place, words);
            place[x] = places.take(words);
        }
        return places.peak() * sizeof(Word);
    }

    bool is_last_take(const Operation& operation) const {
        return operation.kind == Operation::Kind::take &&
               operation.child == items_[operation.value].order.back();
    }

    const EvaluatorRequest request_;
    RunPlan plan_;
    std::vector<Item> items_;
    std::unordered_map<const VFormulaNode*, std::size_t> item_of_;
};

}  // namespace

RunPlan make_run_plan(const VFormulaNode& root, const EvaluatorRequest& request) {
    return Planner(root, request).take();
}

}  // namespace kalvor::Formulas
