#include "record.h"

#include <algorithm>
#include <iterator>

Record::Record() { ResetZEP3(&para, &master, rgb); }

Record& Record::operator=(const Record& other) {
  para = other.para;
  master = other.master;
  std::copy(std::begin(other.rgb), std::end(other.rgb), rgb);
  para.ic.pMasterTone = para.pOutMasterTone = &master;
  para.ic.pRGBTone = para.pOutRGBTone = rgb;
  return *this;
}
