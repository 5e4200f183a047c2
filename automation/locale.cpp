#include "automation/locale.h"

namespace qorvintr::automation {

const LocaleData& CurrentLocale() noexcept {
  static constexpr LocaleData kEnUs{
      u".", u",", u"/", u":", u"AM", u"PM", u"$", u"M/d/yyyy", u"dddd, MMMM d, yyyy",
      u"h:mm:ss tt",
      {u"January", u"February", u"March", u"April", u"May", u"June", u"July", u"August",
       u"September", u"October", u"November", u"December"},
      {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun", u"Jul", u"Aug", u"Sep", u"Oct", u"Nov",
       u"Dec"},
      {u"Sunday", u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday"},
      {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"}};
  return kEnUs;
}

}  // namespace qorvintr::automation
