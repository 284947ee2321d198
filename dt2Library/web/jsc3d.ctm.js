/*
 * Compressed meshes (.ctm) for the Lumo 2D mesh viewer. The library writes plain OBJ
 * scenes only, so this loader merely explains that the format is not supported.
 */
(function (JSC3D) {
  'use strict';
  if (!JSC3D) return;
  JSC3D.loaders.ctm = function () {
    throw new Error('Compressed .ctm meshes are not supported by this viewer; use an OBJ file');
  };
})(typeof JSC3D !== 'undefined' ? JSC3D : null);
