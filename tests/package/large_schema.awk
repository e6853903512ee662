# SPDX-License-Identifier: MIT
# Writes a program whose one file declares as many fields and choices as `nodes` says.
BEGIN {
  print "#include <cstdio>"
  print "#include \"CommonProperties/TCPropertyChoice.h\""
  print "#include \"CommonProperties/TCPropertyID.h\""
  print "using namespace Property;"
  print "namespace {"
  for (i = 1; i <= nodes; ++i) {
    name = sprintf("\"Node%d\"", i)
    text = sprintf("\"The node %d\"", i)
    if (i % 4 == 1) {
      field = i
      printf "TCPropertyID Node%d(%s, %d, %s, Accessories::TCNullTypes<int>(), 0x10, %d);\n", i, name, i, text, i
    } else if (i % 4 == 2) {
      printf "TCPropertyID Node%d(%s, %d, %s, %d, 0x20, \"text\");\n", i, name, i, text, field
    } else {
      printf "TCPropertyChoice Node%d(%s, %s, %d, false, &Node%d, %d);\n", i, name, text, i, field, i
    }
  }
  print "}"
  print "int main() {"
  print "  TCBasicPropertyID::Initialize();"
  print "  std::printf(\"%zu nodes\\n\", TCBasicPropertyID::m_List->size());"
  print "}"
}
