/*
 * A tiny log for the Lumo 2D mesh viewer: JSC3D.console.log(text) appends a line to the
 * element with the id "jsc3d_console" when the page has one, and to the browser console.
 */
(function (JSC3D) {
  'use strict';
  if (!JSC3D) return;
  JSC3D.console = {
    log: function (text) {
      var box = document.getElementById('jsc3d_console');
      if (box) {
        var line = document.createElement('div');
        line.textContent = String(text);
        box.appendChild(line);
      }
      if (window.console) window.console.log(text);
    }
  };
})(typeof JSC3D !== 'undefined' ? JSC3D : null);
