#pragma once
// Offering the stock components under their programmatic identifiers.

namespace qorvintr::components {

// Registers the stock data field for "QorvDFld.DataField" and the stock log writer for
// "QorvLog.Log", each only where nobody registered a creator yet (a host's own creators win).
// Answers how many were registered. Nothing is registered unless a host asks.
int RegisterDefaultComponents();

}  // namespace qorvintr::components
