#include "survey.h"

#include <cerrno>

namespace zoe::inspect {

using namespace engine;

namespace {

constexpr const char *name_of_link[] = {"left link", "right link"};

bool is_tagged(std::uintptr_t link) {
    return (link & tags) != 0;
}

/* How a link word reads, to be followed by the word itself. */
Sight seen(std::uintptr_t link) {
    if (link == 0)
        return {"null"};
    if (is_thread(link))
        return {(link & balance_bit) != 0 ? "a thread with a balance bit," : "the thread", link};
    return {"the child", link};
}

} // namespace

bool Survey::run(std::uintptr_t rootp) {
    visit_root(rootp);
    return report.goes_on(out_of_memory ? ENOMEM : memory.failure());
}

void Survey::visit_root(std::uintptr_t rootp) {
    std::uintptr_t word = 0;
    if (!memory.read(rootp, word)) {
        if (memory.failure() == 0)
            report.frame("head", rootp, {"a root word"}, {"unreadable memory"});
        return;
    }
    if (word == 0)
        return;
    if (is_tagged(word))
        report.frame("head", rootp, {"a plain address"}, {"the tagged word", word});
    root = address(word);
    Found self{root, {}, 1, {}};
    if (!memory.read(root, self.links)) {
        if (memory.failure() == 0)
            report.frame("head", rootp, {"a record"}, {"the unreadable address", word},
                         "was the record freed?");
        return;
    }
    if (is_list(self)) {
        report.record(root, 0, "both links", {"children or threads"}, {"neighbours in a list"},
                      "both words are plain addresses: this is a list; was the head set to null "
                      "after flattening?");
        return;
    }
    memory.mark(root);
    visit(self);
    if (found.size() == 0)
        return;
    Found &last = found[found.size() - 1];
    if (is_thread(last.links[right]) && strip_balance(last.links[right]) != null_thread)
        fault(last, found.size() - 1, right, {"the null thread of the last record"},
              "is the head an old copy of the root, or the record in two trees?");
}

/* Visits the records below `self`, and itself in its place. Gives the height, or `unknown`. */
int Survey::visit(Found self) {
    if (self.links[left] == 0 && self.links[right] == 0) {
        report.record(self.address, found.size(), "both links", {"children or threads"}, {"null"},
                      "both words are null: this record was removed, or stands in no tree");
        self.faulty[left] = self.faulty[right] = true;
        out_of_memory |= !found.add(self);
        return unknown;
    }
    memory.prefetch(address(self.links[right]));
    const int left_height = visit_side(self, left, found.size());
    const std::size_t place = found.size();
    judge_threads(self);
    if (!found.add(self)) {
        out_of_memory = true;
        return unknown;
    }
    const int right_height = visit_side(found[place], right, place);
    return judge_heights(self, place, left_height, right_height);
}

/* Gives the height of the subtree on `side`. */
int Survey::visit_side(Found &self, Side side, std::uint64_t place) {
    const std::uintptr_t link = self.links[side];
    if (is_thread(link)) {
        if ((link & balance_bit) != 0)
            fault(self, place, side, {"the thread", strip_balance(link)}, nullptr);
        return 0;
    }
    Found child{address(link), {}, static_cast<std::uint8_t>(self.depth + 1), {}};
    if (child.address == 0)
        fault(self, place, side, {"a child or a thread"}, nullptr);
    else if (self.depth == path_capacity)
        fault(self, place, side, {"an end, since no tree is deeper"},
              "do the links run in a list?");
    else if (!memory.read(child.address, child.links))
        fault(self, place, side, {"a child that can be read"}, "was the record freed, or moved?");
    else if (!memory.mark(child.address))
        fault(self, place, side, {"a record that wasn't met before"},
              "was the record added twice, or is it in two trees?");
    else
        return visit(child);
    return unknown;
}

/* Judges the threads between the record before and `self`, which is next in order: where records in
 * between couldn't be reached, the link that leads to them is no thread. */
void Survey::judge_threads(Found &self) {
    const std::size_t place = found.size();
    constexpr const char *slip = "is the record in two trees, or was it copied or moved?";
    if (place == 0) {
        if (is_thread(self.links[left]) && strip_balance(self.links[left]) != null_thread)
            fault(self, place, left, {"the null thread of the first record"},
                  "is the head an old copy of the root, or the record in two trees?");
        return;
    }
    Found &before = found[place - 1];
    const std::uintptr_t to_self = make_thread(self.address);
    const std::uintptr_t to_before = make_thread(before.address);
    if (is_thread(before.links[right]) && strip_balance(before.links[right]) != to_self)
        fault(before, place - 1, right, {"the thread to the next record,", to_self}, slip);
    if (is_thread(self.links[left]) && strip_balance(self.links[left]) != to_before)
        fault(self, place, left, {"the thread to the record before,", to_before}, slip);
}

int Survey::judge_heights(const Found &self, std::uint64_t place, int left_height,
                          int right_height) {
    const bool leans_left = (self.links[left] & balance_bit) != 0;
    const bool leans_right = (self.links[right] & balance_bit) != 0;
    if (leans_left && leans_right)
        report.record(self.address, place, "balance", {"at most one balance bit"}, {"both set"});
    if (left_height == unknown || right_height == unknown)
        return unknown;
    if (with_heights && !(leans_left && leans_right)) {
        constexpr const char *stands[] = {"leaning left", "level", "leaning right"};
        const int balance = right_height - left_height;
        if (balance < -1 || balance > 1)
            report.record(
                self.address, place, "heights", {"subtrees that differ by at most one"},
                {balance > 0 ? "the right one higher by more" : "the left one higher by more"});
        else if (balance != leans_right - leans_left)
            report.record(self.address, place, "balance", {stands[balance + 1]},
                          {stands[leans_right - leans_left + 1]});
    }
    return 1 + (left_height > right_height ? left_height : right_height);
}

void Survey::fault(Found &self, std::uint64_t place, Side side, Sight expected, const char *slip) {
    if (memory.failure() != 0 || out_of_memory)
        return;
    self.faulty[side] = true;
    report.record(self.address, place, name_of_link[side], expected, seen(self.links[side]), slip);
}

/* True if both words are those of a record in a list: its neighbours there lead back. */
bool Survey::is_list(const Found &self) {
    for (const Side side : sides) {
        const std::uintptr_t link = self.links[side];
        std::uintptr_t back[2];
        if (link == 0)
            continue;
        if (is_tagged(link) || !memory.read(link, back) || back[opposite(side)] != self.address)
            return false;
    }
    return self.links[left] != 0 || self.links[right] != 0;
}

} // namespace zoe::inspect
