// A program outside the project that uses the installed library through find_package.
#include <zubra/zubra.h>

#include <iostream>

int main() {
  try {
    throw zubra::Exception(zubra::ExceptionMessage::translate("zubra consumer {}") % "ok");
  } catch (const zubra::Exception& e) {
    std::cout << e.what() << '\n';
  }
  return 0;
}
