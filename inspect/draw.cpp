/* The picture of a tree, as Graphviz text. */
#include "zoeavl_inspect.h"

#include "survey.h"

namespace zoe::inspect {
namespace {

using namespace engine;

void put_escaped(std::FILE *out, const char *text) {
    for (; *text != '\0'; text++) {
        const auto c = static_cast<unsigned char>(*text);
        if (c < ' ')
            std::fputc(' ', out);
        else if (c == '"' || c == '\\')
            std::fprintf(out, "\\%c", c);
        else
            std::fputc(c, out);
    }
}

/* Draws the records of a survey. A subtree is the range of its places in the order; its root is the
 * one that lies highest. */
class Picture {
  public:
    Picture(const Array<Found> &records_, const ZOEAVLDrawing &drawing_, std::FILE *out_)
        : records(records_), drawing(drawing_), out(out_),
          cluster(drawing.cluster != nullptr ? drawing.cluster : "") {}

    void draw() {
        if (drawing.cluster != nullptr)
            std::fprintf(out, "subgraph cluster_%s {\nlabel=\"%s\";\n", cluster, cluster);
        else
            std::fputs("digraph tree {\nordering=out;\n", out);
        std::fputs("node [shape=ellipse, fontname=\"sans-serif\", fontsize=11];\n"
                   "edge [dir=none];\n",
                   out);
        draw_subtree(0, records.size());
        std::fputs("}\n", out);
    }

  private:
    bool is_drawn(std::size_t place) const {
        return drawing.depth == 0 || records[place].depth <= drawing.depth;
    }

    /* No two clusters have a name in common. */
    void put_id(std::size_t place, const char *beside = "") const {
        std::fprintf(out, "\"%s%s%lu%s\"", cluster, *cluster != 0 ? " " : "",
                     static_cast<unsigned long>(place), beside);
    }

    std::size_t root_of(std::size_t first, std::size_t end) const {
        std::size_t root = first;
        for (std::size_t place = first; place < end; place++)
            if (records[place].depth < records[root].depth)
                root = place;
        return root;
    }

    void draw_subtree(std::size_t first, std::size_t end) {
        if (first == end)
            return;
        const std::size_t root = root_of(first, end);
        put_id(root);
        if (!is_drawn(root)) {
            std::fprintf(out, " [shape=triangle, label=\"%lu\"];\n",
                         static_cast<unsigned long>(end - first));
            return;
        }
        draw_node(records[root]);
        draw_child(root, left, first, root);
        draw_thread_to(root, root - 1, right);
        if (end - first > 1)
            draw_middle(root);
        draw_thread_to(root, root + 1, left);
        draw_child(root, right, root + 1, end);
        draw_subtree(first, root);
        draw_subtree(root + 1, end);
    }

    void draw_node(const Found &record) const {
        char text[256];
        if (drawing.label != nullptr)
            drawing.label(drawing.context, node_at(record.address), text, sizeof text);
        else
            std::snprintf(text, sizeof text, "%#lx", static_cast<unsigned long>(record.address));
        std::fputs(" [label=\"", out);
        put_escaped(out, text);
        const bool level = ((record.links[left] | record.links[right]) & balance_bit) == 0;
        std::fputs(level ? "\"];\n" : "\", style=filled, fillcolor=\"#ffe3a3\"];\n", out);
    }

    void draw_child(std::size_t place, Side side, std::size_t first, std::size_t end) const {
        if (records[place].faulty[side]) {
            draw_fault(place, side);
        } else if (first != end) {
            put_id(place);
            std::fputs(" -> ", out);
            put_id(root_of(first, end));
            const bool taller = (records[place].links[side] & balance_bit) != 0;
            std::fputs(taller ? " [penwidth=3];\n" : ";\n", out);
        }
    }

    /* Something unseen straight below a node keeps its children to their sides. */
    void draw_middle(std::size_t place) const {
        put_id(place, " below");
        std::fputs(" [style=invis, label=\"\", width=0.1];\n", out);
        put_id(place);
        std::fputs(" -> ", out);
        put_id(place, " below");
        std::fputs(" [style=invis, weight=10];\n", out);
    }

    /* The thread from `place`, one beside `root`. Written from above to below, in which order the
     * picture is laid out, though a thread leads upwards. */
    void draw_thread_to(std::size_t root, std::size_t place, Side side) const {
        if (place >= records.size() || !is_drawn(place) || records[place].faulty[side] ||
            !is_thread(records[place].links[side]))
            return;
        put_id(root);
        std::fputs(" -> ", out);
        put_id(place);
        std::fputs(" [style=dashed, dir=back, color=gray50, arrowsize=0.6, weight=0];\n", out);
    }

    /* A faulty word leads to the record that it means, if that was met, or to a box with the word.
     */
    void draw_fault(std::size_t place, Side side) const {
        const std::uintptr_t link = records[place].links[side];
        put_id(place);
        std::fputs(" -> ", out);
        std::size_t target = 0;
        while (target < records.size() &&
               (records[target].address != address(link) || !is_drawn(target)))
            target++;
        if (target < records.size())
            put_id(target);
        else
            std::fprintf(out, "\"0x%lx\"", static_cast<unsigned long>(link));
        std::fputs(" [dir=forward, color=red, constraint=false];\n", out);
        if (target == records.size())
            std::fprintf(out, "\"0x%lx\" [shape=box, color=red];\n",
                         static_cast<unsigned long>(link));
    }

    const Array<Found> &records;
    const ZOEAVLDrawing &drawing;
    std::FILE *out;
    const char *cluster;
};

} // namespace
} // namespace zoe::inspect

using namespace zoe::inspect;

int64_t zoeavl_draw(const ZOEAVLTree *tree, const ZOEAVLp *rootp, const ZOEAVLDrawing *drawing,
                    FILE *out) {
    constexpr ZOEAVLDrawing plain{};
    Memory memory;
    Report report(nullptr);
    Survey survey(memory, report, false);
    if (!survey.run(root_word(tree, rootp)))
        return ZOEAVL_INSPECT_FAILED;
    Picture(survey.records(), drawing != nullptr ? *drawing : plain, out).draw();
    return report.faults();
}
