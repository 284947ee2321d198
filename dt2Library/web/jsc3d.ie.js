/*
 * Fallbacks for old browsers used by the Lumo 2D mesh viewer: typed-array fill and
 * requestAnimationFrame. Load it before jsc3d.js when such browsers matter.
 */
(function () {
  'use strict';
  if (typeof Uint32Array !== 'undefined' && !Uint32Array.prototype.fill) {
    var fill = function (value, start, end) {
      for (var i = start || 0, n = end === undefined ? this.length : end; i < n; i++) this[i] = value;
      return this;
    };
    Uint32Array.prototype.fill = fill;
    Float32Array.prototype.fill = fill;
  }
  if (!window.requestAnimationFrame) {
    window.requestAnimationFrame = function (callback) { return window.setTimeout(callback, 16); };
  }
})();
