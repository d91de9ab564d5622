equal(native.describe(), "", "no arguments");
equal(native.describe(1, -2147483648, 2147483647), "I4 1, I4 -2147483648, I4 2147483647", "integers");
equal(native.describe(2147483648, 0.5, -1e300), "R8 2147483648, R8 0.5, R8 -1.0000000000000001e+300", "reals");
equal(native.describe(NaN), "R8 nan", "not a number");
equal(native.describe("a", ""), 'BSTR "a", BSTR ""', "texts");
equal(native.describe(true, false), "BOOL -1, BOOL 0", "truths");
equal(native.describe(null, undefined), "NULL, EMPTY", "nothing");
equal(native.describe({}, [1], function () {}, native), "DISPATCH, DISPATCH, DISPATCH, DISPATCH", "objects");

// What goes in comes out.
var values = [0, 1.5, "text", true, false, null, undefined];
for (var i = 0; i < values.length; ++i) equal(native.echo(values[i]), values[i], "echo " + i);
var object = { a: 1 };
equal(native.echo(object) === object, true, "the same object");
equal(native.echo(native).text, "text", "a native object");
equal(native.echo("z\u0000e\u00E4r\uD83D\uDE00o\uD800"), "z\u0000e\u00E4r\uD83D\uDE00o\uD800", "every character");

// Arguments that the native side converts and tests.
equal(native.sum("12", 30), 42, "converted arguments");
raises(function () { native.sum("x", 1); }, "The value is of the wrong type", "Script");
raises(function () { native.sum(1); }, "An argument is missing", "Script");

// A method is a value.
var sum = native.sum;
equal(sum(1, 2), 3, "a method taken off its object");
equal(typeof native.sum, "function", "type of a method");

// A member that becomes a method while the script runs.
equal(native.later, "", "not yet a method");
native.makeMethod("later");
equal(native.later("x"), 'BSTR "x"', "now one");
