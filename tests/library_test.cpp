// The library's smaller modules through their public interface: what the tool's test and the
// fuzz targets cannot reach.
#include <filesystem>
#include <map>
#include <tuple>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/SandboxWorkflowDetector.hpp"
#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/validate.hpp"

#include "support/Printed.hpp"
#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;

constexpr char const* kPause = "CPPUTIL_TEST_PAUSE";

// The exception's what() ("" when nothing was thrown), '|', then the records made.
template <typename Call>
std::string outcome(testing::TraceCapture& capture, Call call) {
  std::string what;
  try {
    call();
  } catch (interrupt::Exception const& error) {
    what = error.what();
  }
  return what + "|" + capture.take();
}

TEST(Interrupt, FlagStaysSetUntilUnsetAndEveryStepIsTraced) {
  testing::TraceCapture capture("install::cpputil::interrupt", 4 | 8);
  auto const check = [](std::string const& tag) { return [tag] { interrupt::throw_if_set(tag); }; };
  std::string const found = "4  interruptStatus=true\n8 Throw interrupt::Exception ";
  EXPECT_EQ(outcome(capture, interrupt::set), "|8 Set INTERRUPT.\n");
  EXPECT_EQ(outcome(capture, check("")), "Interrupted.|" + found + "with DEFAULT tag.\n");
  EXPECT_EQ(outcome(capture, check("copy")), "Interrupted. copy|" + found + "tag copy\n");
  EXPECT_EQ(outcome(capture, [] { EXPECT_TRUE(interrupt::is_set()); }),
            "|4  interruptStatus=true\n");
  EXPECT_EQ(outcome(capture, interrupt::detail::unset), "|8 Unset INTERRUPT.\n");
  EXPECT_EQ(outcome(capture, check("")), "|");
}

// The hook waits only while its variable is defined, also with an empty value (Windows holds
// none, so there it holds a text), and throws when it finds the flag set.
TEST(Interrupt, PauseHookChecksTheFlagWhileItsVariableIsDefined) {
  testing::TraceCapture capture("install::cpputil::interrupt", 4 | 8);
  auto const pause = [] { interrupt::test::pause_and_throw_if_set(kPause); };
  interrupt::set();
  capture.take();
  testing::set_env(kPause, std::nullopt);
  EXPECT_EQ(outcome(capture, pause), "|");  // with the flag set, any check would have thrown
  testing::ScopedEnv const defined(kPause, fs::path::preferred_separator == '/' ? "" : "1");
  std::string const tag = "env CPPUTIL_TEST_PAUSE is set.";
  EXPECT_EQ(outcome(capture, pause), "Interrupted. " + tag + "|8 " + tag +
                                         " Waiting 1 minute for interrupt...\n4  interruptStatus="
                                         "true\n8 Throw interrupt::Exception tag " +
                                         tag + "\n");
  interrupt::detail::unset();
}

// Files the parser cannot read: a missing one throws, the others read as empty (the tool's test
// parses files it can read, and the fuzz target any text).
TEST(InputFileParser, MissingFileThrowsAndAnUnreadableOneReadsAsEmpty) {
  testing::ScratchDir const dir;
  testing::TraceCapture capture("install::cpputil::InputFileParser", 4);
  InputFileParser parser;
  try {
    parser.parse(utf8_to_ustring(dir / "missing"));
    ADD_FAILURE() << "no exception";
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "input file does not exist!");
  }
  EXPECT_EQ(parser.getUserInputsFromFile(utf8_to_ustring(dir.path().u8string())), "");
  EXPECT_EQ(capture.take(), "");
#if !defined(_WIN32)  // as nobody where we are root, so that a mode 000 file keeps us out; by a
                      // relative path, should nobody not pass the folders above
  testing::write_file(dir / "input.txt", "a=1\n");
  ::chmod((dir / "input.txt").c_str(), 0);
  fs::path const saved = fs::current_path();
  fs::current_path(dir.path());
  EXPECT_EQ(testing::in_child([&] { return parser.getUserInputsFromFile(u"input.txt"); }, 65534),
            "");
  fs::current_path(saved);
#endif
}

// The input file's grammar, rule by rule: settings text as convertInputsToPropertyMap takes it,
// or with `file`, a whole file for parse and for getUserInputsFromFile, whose settings text then
// converts to the same map; the map as testing::printed shows it.
TEST(InputFileParser, EachGrammarRuleGivesItsMap) {
  // rule, whether the input is a whole file, input, map
  std::tuple<char const*, bool, std::string, std::string> const cases[] = {
      {"KeyLoweredSixBytesTrimmed", false, "\t\v\f\r Key \r=\v V\xC2\xA0\f\r\n", "key=V\\u00A0"},
      {"LastSettingWins", false, "a=1\na=2\n", "a=2"},
      {"EqualsAfterTheFirstSkipped", false, "a==b\nc=d=e\nf=\ng= =h\n", "a=b; c=d=e; f=; g==h"},
      {"EmptyOrListKeySettingIgnored", false, "=x\nproduct=x\nPLATFORM = y\n", ""},
      {"ListLinesAppend", false, "product._a\nplatform..x\nproduct.\nproduct._a\n",
       "platform=[x]; product=[ a|| a]"},
      {"ListNeedsLowerCaseKeyAndDot", false, "Product.A\nproductX\nplatform\n", ""},
      {"SplitAtTheFirstDot", false, "mix.product.a\n.product.x\n", "=[product.x]; mix=[product.a]"},
      {"EqualsMakesASettingLine", false, "product.a=1\n", "product.a=1"},
      {"TextKeptOverListAndReplacingIt", false, "k=v\nk.product.z\nm.product.z\nm=v\n", "k=v; m=v"},
      {"NoCommentAndNoUnfinishedLine", false, "#a=1\nb=2", "#a=1"},
      {"CommentAndBlankLinesDropped", true, "#a\n   # b=2\n \t\v\f\r\n\nc=3 #kept\n", "c=3 #kept"},
      {"LastLineWithoutFeedRead", true, "a=1\r\nproduct.x", "a=1; product=[x]"},
      {"CarriageReturnAloneEndsNoLine", true, "a=1\rb=2\r\n", "a=1\\u000Db=2"},
      {"ByteOrderMarkStaysInTheFirstKey", true, "\xEF\xBB\xBFKey=1\n", "\\uFEFFkey=1"},
  };
  testing::ScratchDir const dir;
  InputFileParser parser;
  ustring const path = utf8_to_ustring(dir / "input.txt");
  for (auto const& [rule, file, input, map] : cases) {
    SCOPED_TRACE(rule);
    testing::write_file(dir / "input.txt", input);
    std::string const settings = file ? parser.getUserInputsFromFile(path) : input;
    EXPECT_EQ(testing::printed(parser.convertInputsToPropertyMap(settings)), map);
    if (file) {
      EXPECT_EQ(testing::printed(parser.parse(path)), map);
    }
  }
}

// Keys in order, each against its own rule; rules of absent keys are not mandatory. A failed
// file rule throws a runtime_error, the others an invalid_argument.
TEST(Validate, ArgsStopAtTheFirstViolationInKeyOrder) {
  testing::ScratchDir const scratch;
  logger::Logger const logger{scratch / "install.log"};
  std::map<std::string, std::string> const rules = {
      {"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  try {
    validate_args({{"b", "x"}, {"B", "y"}, {"c", "none"}}, rules);
    ADD_FAILURE() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "key='B' value='y' rule='boolval'");
  }
  EXPECT_NO_THROW(validate_args({{"C", "none"}, {"free", "x"}}, rules));
  EXPECT_THROW(validate_args({{"b", "1"}, {"c", "none"}}, rules), std::runtime_error);
}

// Run by its own CTest entry from a copy of the library, loaded by a relative name or from a
// folder whose name is not ASCII. Once the working folder of the load is gone, nothing but the
// library's own location names the root, whose anchor sits beside it.
TEST(SandboxLoadedByRelativeName, AnchorIsBesideTheRootAboveTheLibraryFolder) {
  if (std::getenv("CPPUTIL_TEST_RELATIVE_LOAD") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs the library loaded by a relative name";
  }
  fs::path const start = fs::current_path();
  fs::path const anchor = start.parent_path().parent_path() / "qx_anchor";
  fs::remove(anchor);
  testing::ScratchDir const gone;
  fs::current_path(gone.path());
  std::error_code ignored;
  fs::remove(gone.path(), ignored);  // Windows keeps a working folder in place
  SandboxWorkflowDetector const detector;
  EXPECT_FALSE(detector.isSandboxWorkflow());
  testing::write_file(anchor.u8string(), "");
  EXPECT_TRUE(detector.isSandboxWorkflow());
  fs::remove(anchor);
  fs::current_path(start);
}

}  // namespace
}  // namespace install::cpputil
