// How contents of register files are merged.
#include "filesystem/Merge.h"

#include "tests/Support.h"

using namespace filesystem;
using Bytes = registerFormat::Bytes;
using Names = std::set<std::string>;

namespace {

const Top top("user");

/// Returns the register file with this content: "a=1 g/b=2 e/" has two properties and an empty
/// group.
Bytes content(const std::string &text) {
    Tree tree;
    tree.addGroup(top, Name({}));
    std::istringstream entries(text);
    for (std::string entry; entries >> entry;) {
        const std::size_t end = entry.find('=');
        if (end == std::string::npos)
            tree.addGroup(top, Name(entry));
        else
            *tree.place(top, Name(entry.substr(0, end)), 1) = entry[end + 1];
    }
    return std::make_shared<const std::string>(
        registerFormat::encode(tree, tree.find(top, Name({})).group));
}

struct Outcome {
    Bytes ours;
    Names taken, conflicts;
};

Outcome mergeInto(const Bytes &base, const Bytes &theirs, const Bytes &ours) {
    Outcome outcome;
    Tree tree;
    tree.addGroup(top, Name({}));
    const Tree::GroupId root = tree.find(top, Name({})).group;
    registerFormat::decode(ours, tree, root);
    merge(base, theirs, tree, top, {outcome.taken, outcome.conflicts});
    outcome.ours = std::make_shared<const std::string>(registerFormat::encode(tree, root));
    return outcome;
}

TEST(Merge, theChangesOfOneSideAreTakenAndThoseOfBothCollide) {
    const struct {
        std::string base, theirs, ours, result;
        Names taken, conflicts;
    } rows[] = {
        {"a=1", "a=2", "a=1 b=1", "a=2 b=1", {"a"}, {}},
        {"a=1 b=1", "", "a=1 b=2", "b=2", {"a"}, {"b"}},
        {"", "g/h/p=1 e/", "", "g/h/p=1 e/", {"g/h/p", "e"}, {}},
        {"g/h/p=1 g/q=1 e/", "", "g/h/p=1 g/q=1 e/", "", {"g/h/p", "g/q", "e"}, {}},
        {"g/p=1 g/q=1", "", "g/p=1 g/q=2 g/r=1", "g/q=2 g/r=1", {"g/p"}, {"g/q"}},
        {"g/p=1 g/q=1", "g/p=2 g/q=1 g/r=1", "", "g/r=1", {"g/r"}, {"g/p"}},
        {"a=1", "a/b=1 a/c=1", "a=1", "a/b=1 a/c=1", {"a", "a/b", "a/c"}, {}},
        {"a=1", "a/b=1 a/c=1", "a=2", "a=2", {}, {"a"}},
        {"g/h/p=1 g/e/", "g=1", "g/h/p=1 g/e/", "g=1", {"g", "g/h/p", "g/e"}, {}},
        {"g/h/p=1", "g=1", "g/h/p=1 g/q=1", "g/h/p=1 g/q=1", {}, {"g"}},
        {"", "g/h/p=1 b=1", "g=1 a=1", "g=1 a=1 b=1", {"b"}, {"g"}},
        {"g/h/p=1", "g/h/p=2 g/h/q=2", "g=1", "g=1", {}, {"g"}},
    };
    for (const auto &row : rows) {
        const Outcome outcome =
            mergeInto(content(row.base), content(row.theirs), content(row.ours));
        const std::string label = row.base + " | " + row.theirs + " | " + row.ours;
        EXPECT_EQ(*outcome.ours, *content(row.result)) << label;
        EXPECT_EQ(outcome.taken, row.taken) << label;
        EXPECT_EQ(outcome.conflicts, row.conflicts) << label;
    }
}

/// All contents of a few names, as base, theirs and ours.
TEST(Merge, itsRulesHoldForAllSmallContents) {
    std::vector<Bytes> contents;
    for (const std::string a : {"", "a=1", "a=2", "a/", "a/b=1", "a/b=2", "a/b/", "a/b/c=1"})
        for (const std::string d : {"", "a/d=1"})
            if (d.empty() || a.find('=') != 1)
                contents.push_back(content(a + " " + d));
    int withoutConflict = 0;
    for (const Bytes &base : contents)
        for (const Bytes &theirs : contents)
            for (const Bytes &ours : contents) {
                const Outcome outcome = mergeInto(base, theirs, ours);
                const Outcome mirrored = mergeInto(base, ours, theirs);
                const Outcome again = mergeInto(theirs, theirs, outcome.ours);
                EXPECT_EQ(*again.ours, *outcome.ours);
                EXPECT_EQ(again.taken, Names());
                const Bytes &expected = base == ours ? theirs : ours;
                const bool oneSided = base == ours || base == theirs || ours == theirs;
                EXPECT_TRUE(!oneSided || *outcome.ours == *expected);
                EXPECT_TRUE(!oneSided || outcome.conflicts.empty());
                EXPECT_EQ(outcome.taken.empty(), *outcome.ours == *ours);
                EXPECT_EQ(outcome.conflicts.empty(), mirrored.conflicts.empty());
                withoutConflict += outcome.conflicts.empty();
                EXPECT_TRUE(!outcome.conflicts.empty() || *outcome.ours == *mirrored.ours);
                Names conflicts;
                EXPECT_EQ(*merged(base, theirs, ours, conflicts), *outcome.ours);
                EXPECT_EQ(conflicts, outcome.conflicts);
                ASSERT_FALSE(HasFailure()) << *base << *theirs << *ours;
            }
    EXPECT_GT(withoutConflict, 500);
}

} // namespace
