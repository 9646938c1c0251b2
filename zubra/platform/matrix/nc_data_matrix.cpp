#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// The float matrix is the one the design engine exchanges; instantiate it once here.
template class NCDataMatrix<float>;

}  // namespace zubra
