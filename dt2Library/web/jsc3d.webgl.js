/*
 * Hardware rendering hook of the Lumo 2D mesh viewer. The viewer draws with its own software
 * rasterizer on a 2D canvas, which is fast enough for the meshes the library writes and works
 * where WebGL is unavailable; this file only reports whether WebGL would be there.
 */
(function (JSC3D) {
  'use strict';
  if (!JSC3D) return;
  JSC3D.webGLAvailable = function () {
    try {
      var c = document.createElement('canvas');
      return !!(c.getContext('webgl') || c.getContext('experimental-webgl'));
    } catch (e) {
      return false;
    }
  };
})(typeof JSC3D !== 'undefined' ? JSC3D : null);
