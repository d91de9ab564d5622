raises(function () { native.refuse(); }, "An argument is not valid", "Script", -2147024809);
raises(function () { native.number(); }, null);
raises(function () { native.memberName(99); }, "The element was not found", "Script", -2147023728);
raises(function () { native.number = 1.5; }, "Not implemented", "Script");

// What a wrapped object says about its failure.
raises(function () { return wrapped.broken; }, "the part is broken", "tarnwillow", -2147467259);
raises(function () { wrapped.broken = 1; }, "the part is broken", "tarnwillow");
raises(function () { wrapped.refuse(); }, "Unspecified error", "tarnwillow");
raises(function () { wrapped.unknown = 1; }, "The name is not known", "automation");
equal(wrapped.unknown, undefined, "an unknown name");

// A fault and a thrown value inside native code leave the script running.
for (var i = 0; i < 3; ++i) {
    raises(function () { native.fault(); }, "Unspecified error", "Script");
    raises(function () { native.throwValue(); }, "Unspecified error", "Script");
}
equal(native.echo(1), 1, "still alive");

// A failure inside nested calls goes through both sides.
var thrower = { go: function (text) { throw new Error("thrown " + text); } };
raises(function () { native.callBack(thrower, "go", "x"); }, "An exception occurred", "Script");
equal(native.lastFailure, "Error: thrown x|script", "what the native side was told");

// Calls that never end are stopped by the engine, on whatever side they are.
var deep = { go: function (n) { return native.callBack(deep, "go", n); } };
raises(function () { deep.go(1); }, null);
equal(native.echo(2), 2, "still alive");
