/*
 * Touch gestures for the Lumo 2D mesh viewer (jsc3d.js must be loaded first):
 * one finger rotates, two fingers pinch to zoom. Installed by Viewer.init().
 */
(function (JSC3D) {
  'use strict';
  if (!JSC3D || !JSC3D.Viewer) return;

  function distance(touches) {
    var dx = touches[0].clientX - touches[1].clientX, dy = touches[0].clientY - touches[1].clientY;
    return Math.sqrt(dx * dx + dy * dy);
  }

  JSC3D.Viewer.prototype.installTouch = function () {
    var self = this, canvas = this.canvas, last = null, pinch = 0;
    canvas.addEventListener('touchstart', function (e) {
      if (e.touches.length === 1) last = [e.touches[0].clientX, e.touches[0].clientY];
      else if (e.touches.length === 2) { last = null; pinch = distance(e.touches); }
      e.preventDefault();
    }, { passive: false });
    canvas.addEventListener('touchmove', function (e) {
      if (e.touches.length === 1 && last) {
        var t = e.touches[0];
        self.rotate((t.clientY - last[1]) * 0.5, (t.clientX - last[0]) * 0.5, 0);
        last = [t.clientX, t.clientY];
        self.update();
      } else if (e.touches.length === 2 && pinch > 0) {
        var d = distance(e.touches);
        self.zoomBy(d / pinch);
        pinch = d;
        self.update();
      }
      e.preventDefault();
    }, { passive: false });
    canvas.addEventListener('touchend', function (e) {
      if (e.touches.length === 0) { last = null; pinch = 0; }
      else if (e.touches.length === 1) { last = [e.touches[0].clientX, e.touches[0].clientY]; pinch = 0; }
    });
  };
})(typeof JSC3D !== 'undefined' ? JSC3D : null);
