// Lists, shows, saves and restores VLANs through WMI scripting:
//
//   cscript //nologo vlans.js list
//   cscript //nologo vlans.js get {GUID}
//   cscript //nologo vlans.js save FILE
//   cscript //nologo vlans.js restore FILE      removes every VLAN first
//
// The last line is "done"; a script that fails ends without it.

var services = new ActiveXObject("WbemScripting.SWbemLocator").ConnectServer(".", "root\\cimv2");

function describe(vlan) {
  var properties = vlan.Properties_;
  function value(name) { return properties.Item(name).Value; }
  return "adapter " + value("ParentDeviceID") + ", VLAN " + value("VLANNumber") + ", priority " +
      value("VLANPriority") + ": " + value("VLANName") + " " + value("Name");
}

// A machine without VLANs gives an empty list.
function list() {
  var vlans = services.ExecQuery("SELECT * FROM QvrnEN_VLAN");
  for (var i = 0; i < vlans.Count; ++i) WScript.Echo(describe(vlans.ItemIndex(i)));
}

function get(key) { WScript.Echo(describe(services.Get("QvrnEN_VLAN.Name=\"" + key + "\""))); }

// An instance of the method's in-parameters; where SpawnInstance_ is missing, as in Wine, the signature itself serves.
function inParameters(method) {
  var signature = services.Get("QvrnEN_VLAN").Methods_.Item(method).InParameters;
  try {
    return signature.SpawnInstance_();
  } catch (notImplemented) {
    return signature;
  }
}

// The call succeeds whatever became of it: what is there afterwards tells.
function call(method, file) {
  var parameters = inParameters(method);
  parameters.sFileName = new ActiveXObject("Scripting.FileSystemObject").GetAbsolutePathName(file);
  services.ExecMethod("QvrnEN_VLAN", method, parameters);
}

function save(file) {
  call("SaveVlanConfiguration", file);
  var isThere = new ActiveXObject("Scripting.FileSystemObject").FileExists(file);
  WScript.Echo(file + (isThere ? " is written" : " could not be written"));
}

function restore(file) {
  call("RestoreVlanConfiguration", file);
  list();
}

var commands = {"list": list, "get": get, "save": save, "restore": restore};
var words = WScript.Arguments;
commands[words.length > 0 ? words.Item(0) : "list"](words.length > 1 ? words.Item(1) : "");
WScript.Echo("done");
