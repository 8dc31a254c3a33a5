// Putting message/partial fragments together: where a fragment's body begins and ends among
// other text, in a mailbox and across inputs, by the exact bytes written; what is named when a
// fragment is missing; hostile parameters.
#include "decode/message_partial.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_files.h"

namespace mandrel {
namespace {

std::string Fragment(std::string_view id, int number, int total, std::string_view body) {
    std::string text = "Message-ID: <" + std::to_string(number) + "@x>\nSubject: s (" +
                       std::to_string(number) +
                       ")\nContent-Type: message/partial; number=" + std::to_string(number);
    if (total > 0) {
        text += "; total=" + std::to_string(total);
    }
    return text + ";\n\tid=\"" + std::string(id) + "\"\n\n" + std::string(body);
}

TEST(MessagePartial, FragmentsArePutTogetherInNumberOrder) {
    const std::string one = "Content-Type: text/plain\n\nfirst line\n";
    const std::string two = "second line\n\nthird line\n";
    struct Case {
        const char* what;
        std::vector<std::string> inputs;
        int64_t from;
        std::string written;
        std::vector<std::string> problems;
    };
    const Case cases[] = {
        // Without a mailbox's From lines, a fragment runs to the next one or to the end: text
        // after the last belongs to it.
        {"reversed, one after the other, text around them",
         {"Before.\n" + Fragment("a", 2, 2, two) + Fragment("a", 1, 0, one) + "After.\n"},
         0,
         "Before.\n\r\n" + one + "After.\n" + two,
         {}},
        {"in a mailbox: the blank line before each From is the mailbox's",
         {"From a\n" + Fragment("a", 2, 2, two) + "\nFrom b\n" + Fragment("a", 1, 2, one) + "\n"},
         0,
         "From a\nFrom b\n\r\n" + one + two,
         {}},
        {"read from the first fragment's Content-Type line on",
         {"Done before.\n" + Fragment("a", 1, 2, one) + Fragment("a", 2, 2, two)},
         46,
         "\r\n" + one + two,
         {}},
        {"across inputs, each ending its own fragment",
         {Fragment("a", 2, 2, two), Fragment("a", 1, 2, one)},
         0,
         "\r\n" + one + two,
         {}},
        {"a missing fragment is named, nothing of the message written",
         {Fragment("a", 3, 4, two) + Fragment("a", 1, 0, one)},
         0,
         "",
         {"Message a: Total Parts Required: 4.\r\nMissing Parts: 2, 4"}},
        {"no total anywhere",
         {Fragment("b", 1, 0, one)},
         0,
         "",
         {"Message b: Number of Parts Could Not be Determined;\r\nSomething is Missing."}},
        {"two messages mixed, one complete; a number past the total and a second copy ignored",
         {Fragment("a", 1, 1, one) + Fragment("b", 2, 2, two) + Fragment("a", 2, 1, "x\n") +
          Fragment("a", 1, 1, "copy\n")},
         0,
         "\r\n" + one,
         {"Message b: Total Parts Required: 2.\r\nMissing Parts: 1"}},
        {"parameters no fragment has: left as text",
         {"Content-Type: message/partial; number=0; total=1; id=z\n\nbody\n"
          "Content-Type: message/partial; number=1; total=99999; id=z\n\nbody\n"
          "Content-Type: message/partial; number=1; total=1\n\nbody\n"},
         0,
         "Content-Type: message/partial; number=0; total=1; id=z\n\nbody\n"
         "Content-Type: message/partial; number=1; total=99999; id=z\n\nbody\n"
         "Content-Type: message/partial; number=1; total=1\n\nbody\n",
         {}},
        {"a line longer than the reader keeps, and no line end at the end",
         {Fragment("a", 1, 1, std::string(10000, 'x') + "\n" + std::string(5000, 'y'))},
         0,
         "\r\n" + std::string(10000, 'x') + "\n" + std::string(5000, 'y'),
         {}},
        {"headers with no body after them",
         {Fragment("a", 1, 1, "").substr(0, 60)},
         0,
         Fragment("a", 1, 1, "").substr(0, 60),
         {}},
    };
    test::TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<PartialSource> sources;
        for (std::size_t i = 0; i < c.inputs.size(); ++i) {
            const std::string path = dir.File("in" + std::to_string(i));
            test::WriteFile(path, c.inputs[i]);
            sources.push_back({path, i == 0 ? c.from : 0});
        }
        const PartialAssembly assembly = AssemblePartialMessages(sources, dir.File("out"));
        EXPECT_TRUE(assembly.written);
        EXPECT_EQ(test::ReadFile(dir.File("out")), c.written);
        EXPECT_EQ(assembly.problems, c.problems);
    }
}

}  // namespace
}  // namespace mandrel
