// The whole public interface of tarnlib. A host includes this one header.
#ifndef TARNLIB_TARNLIB_H_
#define TARNLIB_TARNLIB_H_

#include "tarnlib/platform/OdAlloc.h"
#include "tarnlib/platform/OdError.h"
#include "tarnlib/platform/OdRxObject.h"
#include "tarnlib/platform/OdString.h"

#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/criteria.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/guid.h"
#include "tarnlib/id_mapping.h"
#include "tarnlib/keys.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"
#include "tarnlib/library_manager.h"
#include "tarnlib/material.h"
#include "tarnlib/memfs.h"
#include "tarnlib/object.h"
#include "tarnlib/profile.h"
#include "tarnlib/profile_outline.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/property.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"
#include "tarnlib/translations.h"
#include "tarnlib/unit.h"
#include "tarnlib/xml_exchange.h"

#endif  // TARNLIB_TARNLIB_H_
