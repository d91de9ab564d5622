equal(wrapped.value, 10, "read");
wrapped.value = 11;
equal(wrapped.value, 11, "written");
equal(wrapped.twice(4), 8, "called");
equal(wrapped.Value, undefined, "its target minds the case");

// Detached under a living script: null everywhere, and nothing reaches the target.
var kept = wrapped;
native.detach();
equal(kept.value, null, "read after the end");
kept.value = 5;
equal(kept.anything, null, "any name");
raises(function () { kept.twice(4); }, null);
equal(wrapped === kept, true, "still the object it was");
