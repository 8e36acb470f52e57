#include <velmoview/representations/Representation.h>

#include <velmoview/Arrays.h>
#include <velmoview/Values.h>

#include <velmo/representations/MoMeshCylinderSlice.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshSphereSlice.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace velmoview {

namespace {

/// How far an argument is dragged to measure a second extraction, of the size of the mesh or of the
/// values.
constexpr double kDrag = 0.002;

double diagonalOf(const Bounds& b)
{
  const double diagonal = std::hypot(b[1] - b[0], b[3] - b[2], b[5] - b[4]);
  return std::isfinite(diagonal) ? diagonal : 1;
}

/// Numbers that the fields of nodes hold, in single precision.
std::vector<double> readFieldNumbers(const RepresentationRow& row, const std::string& text,
                                     std::size_t least, std::size_t most)
{
  std::vector<double> numbers = readNumbers(row.option, row.takes, text, least, most);
  for (const double number : numbers) {
    if (!std::isfinite(static_cast<float>(number)))
      refuseValue(row.option, row.takes, "'" + text + "' is beyond what single precision holds");
  }
  return numbers;
}

SbVec3f vectorAt(const std::vector<double>& numbers, std::size_t first)
{
  return {static_cast<float>(numbers[first]), static_cast<float>(numbers[first + 1]),
          static_cast<float>(numbers[first + 2])};
}

MbVec3d placeAt(const std::vector<double>& numbers, std::size_t first)
{
  return {numbers[first], numbers[first + 1], numbers[first + 2]};
}

nlohmann::ordered_json listAt(const std::vector<double>& numbers, std::size_t first)
{
  return {numbers[first], numbers[first + 1], numbers[first + 2]};
}

void refuseZero(const RepresentationRow& row, const std::vector<double>& numbers, std::size_t first,
                const char* what)
{
  if (vectorAt(numbers, first) == SbVec3f(0, 0, 0))
    refuseValue(row.option, row.takes, std::string("a ") + what + " of 0,0,0 has no direction");
}

void refuseRadius(const RepresentationRow& row, double radius)
{
  if (!(radius > 0)) refuseValue(row.option, row.takes, "a radius has to be above 0");
}

class Isosurface final : public RepresentationOf<MoMeshIsosurface>
{
public:
  Isosurface(ArrayName array, double value) : m_array(std::move(array)), m_value(value) {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    const std::size_t equals = value.rfind('=');
    if (equals == std::string::npos) refuseValue(row.option, row.takes, "there is no '='");
    const ArrayName array = readArrayName(row.option, row.takes, value.substr(0, equals));
    std::vector<std::shared_ptr<Representation>> all;
    for (const double number : readFieldNumbers(row, value.substr(equals + 1), 1, 1000))
      all.push_back(std::make_shared<Isosurface>(array, number));
    return all;
  }

  nlohmann::ordered_json arguments() const override
  {
    return {{"array", m_array.text()}, {"value", m_value}};
  }
  void check(const Subject& subject) const override
  {
    const ModelArray& array = findArray(subject.model, "--isosurface", m_array);
    if (array.binding == MiDataBinding::PerCell && subject.model.dims.empty())
      throw UsageError("--isosurface needs an array per node: '" + array.name +
                       "' has one value a cell");
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    return compared("'" + m_array.text() + "'",
                    reach.ofArray(findArray(reach.model(), "--isosurface", m_array)), "", m_value);
  }

protected:
  void prepare(MoMeshIsosurface& node, Stage& stage) const override
  {
    node.isoScalarSetId =
        stage.addScalarSet(findArray(stage.subject().model, "--isosurface", m_array));
  }
  void setFields(MoMeshIsosurface& node, const Subject& subject, Setting setting) const override
  {
    double value = m_value;
    if (setting == Setting::Moved) {
      const ModelArray& array = findArray(subject.model, "--isosurface", m_array);
      if (!array.ranges.empty() && !array.ranges.back().isEmpty())
        value += kDrag * (array.ranges.back().max - array.ranges.back().min);
      // Where there are no different values, any other one will do.
      if (value == m_value) value = std::nextafter(static_cast<float>(m_value), HUGE_VALF);
    }
    node.isovalue = static_cast<float>(value);
  }

private:
  ArrayName m_array;
  double m_value;
};

class Plane final : public RepresentationOf<MoMeshPlaneSlice>
{
public:
  explicit Plane(std::vector<double> numbers) : m_numbers(std::move(numbers)) {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    auto numbers = readFieldNumbers(row, value, 4, 4);
    refuseZero(row, numbers, 0, "normal");
    return {std::make_shared<Plane>(std::move(numbers))};
  }
  nlohmann::ordered_json arguments() const override
  {
    return {{"normal", listAt(m_numbers, 0)}, {"distance", m_numbers[3]}};
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    const MbVec3d normal = placeAt(m_numbers, 0);
    return compared("N.x", reach.ofNodes([&](const MbVec3d& x) { return dot(normal, x); }),
                    "D = ", m_numbers[3]);
  }

protected:
  void setFields(MoMeshPlaneSlice& node, const Subject& subject, Setting setting) const override
  {
    // The field wants a unit normal.
    const double size = std::hypot(m_numbers[0], m_numbers[1], m_numbers[2]);
    double distance = m_numbers[3] / size;
    if (setting == Setting::Moved) distance += kDrag * diagonalOf(subject.model.bounds);
    const MbVec3d normal = MbVec3d{m_numbers[0], m_numbers[1], m_numbers[2]} * (1 / size);
    node.plane = SbPlane(SbVec3f(static_cast<float>(normal.x), static_cast<float>(normal.y),
                                 static_cast<float>(normal.z)),
                         static_cast<float>(distance));
  }

private:
  std::vector<double> m_numbers;
};

class Sphere final : public RepresentationOf<MoMeshSphereSlice>
{
public:
  explicit Sphere(std::vector<double> numbers) : m_numbers(std::move(numbers)) {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    auto numbers = readFieldNumbers(row, value, 4, 4);
    refuseRadius(row, numbers[3]);
    return {std::make_shared<Sphere>(std::move(numbers))};
  }
  nlohmann::ordered_json arguments() const override
  {
    return {{"center", listAt(m_numbers, 0)}, {"radius", m_numbers[3]}};
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    const MbVec3d center = placeAt(m_numbers, 0);
    return compared("the distance of the nodes from its centre",
                    reach.ofNodes([&](const MbVec3d& x) { return length(x - center); }),
                    "R = ", m_numbers[3]);
  }

protected:
  void setFields(MoMeshSphereSlice& node, const Subject&, Setting setting) const override
  {
    node.center = vectorAt(m_numbers, 0);
    node.radius = static_cast<float>(m_numbers[3] * (setting == Setting::Moved ? 1 + kDrag : 1));
  }

private:
  std::vector<double> m_numbers;
};

class Cylinder final : public RepresentationOf<MoMeshCylinderSlice>
{
public:
  explicit Cylinder(std::vector<double> numbers) : m_numbers(std::move(numbers)) {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    auto numbers = readFieldNumbers(row, value, 7, 7);
    refuseZero(row, numbers, 3, "direction");
    refuseRadius(row, numbers[6]);
    return {std::make_shared<Cylinder>(std::move(numbers))};
  }
  nlohmann::ordered_json arguments() const override
  {
    return {{"center", listAt(m_numbers, 0)},
            {"direction", listAt(m_numbers, 3)},
            {"radius", m_numbers[6]}};
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    const MbVec3d center = placeAt(m_numbers, 0), direction = placeAt(m_numbers, 3);
    const MbVec3d axis = direction * (1 / length(direction));
    return compared("the distance of the nodes from its axis", reach.ofNodes([&](const MbVec3d& x) {
      return length(cross(x - center, axis));
    }),
                    "R = ", m_numbers[6]);
  }

protected:
  void setFields(MoMeshCylinderSlice& node, const Subject&, Setting setting) const override
  {
    node.center = vectorAt(m_numbers, 0);
    node.direction = vectorAt(m_numbers, 3);
    node.radius = static_cast<float>(m_numbers[6] * (setting == Setting::Moved ? 1 + kDrag : 1));
  }

private:
  std::vector<double> m_numbers;
};

template <class Cut>
constexpr RepresentationRow makeRow(const char* option, const char* takes, const char* help)
{
  return {.option = option,
          .takes = takes,
          .help = help,
          .extracted = Extracted::Surface,
          .kinds = kVolumeKinds,
          .read = Cut::read};
}

} // namespace

extern const RepresentationRow kIsosurfaceRow, kPlaneRow, kSphereRow, kCylinderRow;
constinit const RepresentationRow kIsosurfaceRow = makeRow<Isosurface>(
    "--isosurface", "ARRAY=VALUE[,VALUE...]", "where an array has a value; one for each value");
constinit const RepresentationRow kPlaneRow =
    makeRow<Plane>("--plane", "NX,NY,NZ,D", "a cut by the plane of the points x with N.x = D");
constinit const RepresentationRow kSphereRow =
    makeRow<Sphere>("--sphere", "X,Y,Z,R", "a cut by a sphere, its centre and radius");
constinit const RepresentationRow kCylinderRow =
    makeRow<Cylinder>("--cylinder", "X,Y,Z,DX,DY,DZ,R",
                      "a cut by an endless cylinder, a point and the direction of its axis and "
                      "the radius");

} // namespace velmoview
