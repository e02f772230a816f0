#include "compiler/compiler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tmx::compiler {
namespace {
TEST(Compiler, Smoke) {
  const Source s("a/x.hbm", R"(# comment
sub ReadSegment(string head, int number = 5)
  local amount sum = "0,00"
  local date d
  static long calls key 17
  declare bool flag
  read_string head, 65535, '+'
  sum = sum + "1,50"
  calls = calls + 1
  flag = true
  d = 5.3.2003
  if head = "HISAL"
    clear
  elif is_null d
    stop
  elif not success and number > 3
    number = number - 1
  else
    search "x", 1
  end
  while number < 10
    number = number + 1
    if number = 7
      break
    end
    continue
  end
  loop
    call Other(head, 5, amount "1,00", value d)
    break
  end
again:
  if_goto not again
  write_date d, "d.m.yy", 10, '0', right
end
sub Other(string x, int y, amount a, date d)
end
)");
  const Compiled c = Compile(s);
  EXPECT_EQ(c.diagnostics.Render(s), "");
  EXPECT_FALSE(c.image.code.empty());
}
}  // namespace
}  // namespace tmx::compiler
