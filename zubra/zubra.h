// Zubra: the umbrella header. Includes every public class of the library.
#pragma once

#include <zubra/platform/util/atomic_file.h>
#include <zubra/platform/util/configuration_section.h>
#include <zubra/platform/util/exception.h>
#include <zubra/platform/util/html_utilities.h>
#include <zubra/platform/util/ini_file_section.h>
#include <zubra/platform/util/json.h>
#include <zubra/platform/util/kt_string.h>
#include <zubra/platform/util/tinyxml2_section.h>
#include <zubra/platform/util/unique_id.h>
#include <zubra/platform/util/variable_name_validator.h>

#include <zubra/platform/base/c_alpha_lev.h>
#include <zubra/platform/base/c_coeff.h>
#include <zubra/platform/base/c_coeff_list.h>
#include <zubra/platform/base/c_conf_lev.h>
#include <zubra/platform/base/c_fit_method.h>
#include <zubra/platform/base/c_interval_type.h>
#include <zubra/platform/base/c_model_list.h>
#include <zubra/platform/base/c_number_format.h>
#include <zubra/platform/base/c_resid.h>
#include <zubra/platform/base/ce_prec.h>
#include <zubra/platform/base/ce_type.h>
#include <zubra/platform/base/ce_use.h>
#include <zubra/platform/base/ce_var.h>
#include <zubra/platform/base/cr2_opt.h>
#include <zubra/platform/base/enum_table.h>
#include <zubra/platform/base/general_settings.h>
#include <zubra/platform/base/global_options.h>
#include <zubra/platform/base/investigation_access.h>
#include <zubra/platform/base/label_types.h>
#include <zubra/platform/base/list_options.h>
#include <zubra/platform/base/sca_types.h>
#include <zubra/platform/base/undefined.h>

#include <zubra/platform/matrix/desirability.h>
#include <zubra/platform/matrix/f_matrix.h>
#include <zubra/platform/matrix/f_vector.h>
#include <zubra/platform/matrix/itm_data.h>
#include <zubra/platform/matrix/itm_info.h>
#include <zubra/platform/matrix/nc_data_matrix.h>
#include <zubra/platform/matrix/stream_window.h>
#include <zubra/platform/matrix/tra_data.h>
#include <zubra/platform/matrix/xf_matrix.h>

#include <zubra/region/transform.h>

#include <zubra/responses/response_class.h>
