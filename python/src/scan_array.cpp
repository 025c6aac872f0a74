// Lines may lie anywhere; within a line the library wants pixels that are neighbours.
#include "python/src/scan_array.h"

#include <iterator>
#include <string>

namespace py = pybind11;

namespace {

std::string Text(const py::object& object) { return py::str(object); }

std::string ShapeText(const py::array& array) { return Text(array.attr("shape")); }

int64_t DepthOf(const py::array& array) {
  const py::dtype type = array.dtype();
  if (type.kind() == 'u' && type.itemsize() == 1) return ZEP3_BITS_8;
  if (type.kind() == 'u' && type.itemsize() == 2) return ZEP3_BITS_16;
  throw py::type_error("an array of " + Text(type) + "; uint8 and uint16 are taken");
}

int64_t BandsOf(const py::array& array) {
  const int64_t bands = array.ndim() == 3 ? array.shape(2) : array.ndim() == 2 ? 1 : 0;
  if (bands < 1 || bands > 4) {
    throw py::value_error("an array of shape " + ShapeText(array) +
                          "; (height, width) and (height, width, 1 to 4) are taken");
  }
  if (array.shape(0) == 0 || array.shape(1) == 0) throw py::value_error("an array without pixels");
  return bands;
}

// Samples that lie as the processor and the library want them.
bool IsLaidOut(const py::array& array) {
  const py::ssize_t sample = array.itemsize();
  const py::ssize_t bands = BandsOf(array);
  if (!array.dtype().attr("isnative").cast<bool>() || (array.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) == 0)
    return false;
  const bool pixels = array.shape(1) == 1 || array.strides(1) == bands * sample;
  const bool samples = array.ndim() == 2 || bands == 1 || array.strides(2) == sample;
  const py::ssize_t line = array.strides(0) < 0 ? -array.strides(0) : array.strides(0);
  return pixels && samples && (array.shape(0) == 1 || line >= array.shape(1) * bands * sample);
}

ScanArray Describe(const py::array& array) {
  constexpr int64_t kFormats[] = {ZEP3_PIXEL_GRAY, ZEP3_PIXEL_GRAYA, ZEP3_PIXEL_RGB, ZEP3_PIXEL_RGBA};
  ScanArray scan = {array};
  const int64_t stride = array.shape(0) == 1 ? 0 : array.strides(0); // one line's may be anything
  SetZEP3Image(&scan.image, const_cast<void*>(array.data()), array.shape(1), array.shape(0), stride,
               kFormats[BandsOf(array) - 1], DepthOf(array));
  return scan;
}

py::object Numpy(const char* function) { return py::module_::import("numpy").attr(function); }

} // namespace

ScanArray ToRead(const py::array& array) {
  DepthOf(array);
  if (IsLaidOut(array)) return Describe(array);
  const py::object type = array.dtype().attr("newbyteorder")("=");
  return Describe(Numpy("array")(array, py::arg("dtype") = type, py::arg("order") = "C"));
}

ScanArray CopyToWrite(const py::array& scan, const py::object& out) {
  DepthOf(scan);
  BandsOf(scan);
  const py::object type = scan.dtype().attr("newbyteorder")("=");
  py::array result;
  if (out.is_none()) {
    result = Numpy("empty")(scan.attr("shape"), type);
  } else {
    if (!py::isinstance<py::array>(out)) throw py::type_error("out is no array");
    result = py::reinterpret_borrow<py::array>(out);
    if (!result.attr("shape").equal(scan.attr("shape")) || !result.dtype().equal(type)) {
      throw py::value_error("out has shape " + ShapeText(result) + " and type " + Text(result.dtype()) + ", the scan " +
                            ShapeText(scan) + " and " + Text(type));
    }
    if (!result.writeable()) throw py::value_error("out is read-only");
    if (!IsLaidOut(result)) throw py::value_error("the pixels of out do not lie one beside the other");
  }
  if (!result.is(scan)) Numpy("copyto")(result, scan);
  return Describe(result);
}
